// The words of firewall export and import.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kRulesExportHelp{"Write KORVEL's own rules into a file", "Записать правила KORVEL в файл"};
constexpr Text kExportOutputHelp{"The file; without it the text goes to the output",
                                 "Файл; без него текст выводится на экран"};
constexpr Text kRulesExportForceHelp{"Replace a file that exists", "Заменить существующий файл"};
constexpr Text kRulesExportExample{"Before another computer is set up",
                                   "Перед настройкой другого компьютера"};
constexpr Text kImportHelp{"Make the rules of a file", "Создать правила из файла"};
constexpr Text kImportArgument{"A file of 'firewall export'", "Файл, записанный «firewall export»"};
constexpr Text kImportReplaceHelp{"Remove KORVEL's own rules first", "Сначала убрать правила KORVEL"};
constexpr Text kImportExample{"Look first, then without --dry-run",
                              "Сначала посмотреть, затем без --dry-run"};
constexpr Text kImportNote{
    "The whole file is checked before the first change. Rules for the same program are replaced; others stay "
    "unless "
    "--replace is given. The profiles of Windows Firewall are not switched: that is 'firewall profile'.",
    "До первого изменения проверяется весь файл. Правила для той же программы заменяются, остальные "
    "остаются, если нет "
    "--replace. Профили брандмауэра не переключаются: для этого есть «firewall profile»."};
constexpr Text kExported{"rules written: {0}, into {1}", "записано правил: {0}, в файл {1}"};
constexpr Text kExportLeftOut{"switched-off rules left out: {0}", "пропущено выключенных правил: {0}"};
constexpr Text kExportReplace{"{0} exists. Replace it?", "{0} уже есть. Заменить?"};
constexpr Text kExportFailed{"{0} could not be written", "{0} записать не удалось"};
constexpr Text kImportUnreadable{"{0} could not be read", "{0} прочитать не удалось"};
constexpr Text kImportBad{"{0} is no file of 'firewall export': {1}", "{0} — не файл «firewall export»: {1}"};
constexpr Text kNotJson{"no JSON", "не JSON"};
constexpr Text kWrongSchema{"the schema is not {0}", "схема не {0}"};
constexpr Text kUnknownMember{"unknown member '{0}'", "неизвестное поле «{0}»"};
constexpr Text kMemberMissing{"'{0}' is missing or has another type", "поля «{0}» нет или оно другого типа"};
constexpr Text kWrongWord{"'{0}' cannot be '{1}'", "поле «{0}» не может быть «{1}»"};
constexpr Text kNotAbsolute{"'{0}' is no absolute path", "«{0}» — не полный путь"};
constexpr Text kImported{"rules made: {0} of {1}", "создано правил: {0} из {1}"};
constexpr Text kWouldImport{"would make rules: {0}", "было бы создано правил: {0}"};
constexpr Text kImportReplaceQuestion{"Remove KORVEL's own rules first?", "Сначала убрать правила KORVEL?"};

}  // namespace korvel::ctl::words

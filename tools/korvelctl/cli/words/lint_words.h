// The words of 'config lint' and 'config fix'.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kLintHelp{"Look for traps in settings.ini; the service may be stopped",
                         "Найти ловушки в settings.ini; служба может быть остановлена"};
constexpr Text kLintFileHelp{"Another file than the service's own", "Другой файл вместо файла службы"};
constexpr Text kLintExample{"What does the service read in a way that nobody meant?",
                            "Что служба читает не так, как задумано?"};
constexpr Text kLintNote{"Exit code 1 when something is wrong. Notes are no findings.",
                         "Код выхода 1, если что-то не так. Примечания не в счёт."};
constexpr Text kFixHelp{"Write settings.ini anew, as it was probably meant; asks first",
                        "Записать settings.ini заново, как он, вероятно, задуман; с вопросом"};
constexpr Text kFixExample{"What would change?", "Что изменится?"};
constexpr Text kFixNote{
    "The service writes its settings when it ends: stop it first, or this is undone. The old file stays "
    "beside the new one, with .bak at its end.",
    "Завершаясь, служба записывает свои настройки: сначала остановите её, иначе правка пропадёт. Прежний "
    "файл остаётся рядом, с окончанием .bak."};
constexpr Text kFixQuestion{"Write {0} anew?", "Записать {0} заново?"};
constexpr Text kFixDone{"{0} is written anew; the old one is {1}", "{0} записан заново; прежний — {1}"};
constexpr Text kFixWould{"{0} would become:", "{0} станет таким:"};
constexpr Text kFixNothing{"{0} needs no fix", "{0} исправлять не нужно"};
constexpr Text kFixServiceRuns{"the service runs and would write its own settings over it",
                               "служба работает и запишет поверх свои настройки"};
constexpr Text kFixServiceRunsAdvice{
    "stop it first: korvelctl service stop; then fix, and start it again",
    "сначала остановите её: korvelctl service stop; затем исправьте и запустите снова"};
constexpr Text kSettingsMissing{
    "{0} does not exist; the service starts with its defaults and writes it",
    "{0} не существует; служба запустится со значениями по умолчанию и создаст его"};
constexpr Text kSettingsUnreadable{"cannot read {0}", "не удалось прочесть {0}"};
constexpr Text kSettingsUnwritable{"cannot write {0}", "не удалось записать {0}"};
constexpr Text kSettingsDeniedAdvice{"run it as an administrator", "запустите от имени администратора"};

constexpr Text kLintLine{"line", "строка"};
constexpr Text kLintLevel{"level", "важность"};
constexpr Text kLintSetting{"setting", "настройка"};
constexpr Text kLintWhat{"what", "что"};
constexpr Text kLevelError{"error", "ошибка"};
constexpr Text kLevelWarning{"warning", "внимание"};
constexpr Text kLevelNote{"note", "заметка"};
constexpr Text kLintClean{"{0}: nothing wrong, {1}", "{0}: всё в порядке, {1}"};
constexpr Text kLintSummary{"{0}: errors {1}, warnings {2}, notes {3}",
                            "{0}: ошибок {1}, предупреждений {2}, заметок {3}"};
constexpr Text kLintNext{"Next step: korvelctl config fix", "Дальше: korvelctl config fix"};
constexpr Plural kLines{{"line", "lines"}, {"строка", "строки", "строк"}};

constexpr Text kLintBadHour{"the service does not start: '{0}' is not an hour. Write a number from 0 to 23",
                            "служба не запустится: «{0}» — не час. Нужно число от 0 до 23"};
constexpr Text kLintBadHourWithReturn{
    "the service does not start: '{0}' is not an hour, and a CR that no editor shows stands behind it. Write "
    "a "
    "number from 0 to 23 and save the file with LF line ends",
    "служба не запустится: «{0}» — не час, а за ним стоит невидимый в редакторе знак CR. Нужно число от 0 до "
    "23 и концы строк LF"};
constexpr Text kLintCarriageReturn{
    "{0} end in CR LF. The CR belongs to the value: every switch reads as off, and paths end in a CR. Save "
    "the file with LF line ends",
    "{0} — с концом CR LF. CR становится частью значения: все переключатели читаются как «выключено», пути "
    "кончаются знаком CR. Нужны концы строк LF"};
constexpr Text kLintByteOrderMark{
    "a byte-order mark stands in front and belongs to the first line. Save the file without it",
    "в начале стоит метка порядка байтов и становится частью первой строки. Сохраните файл без неё"};
constexpr Text kLintNul{"{0} with zero bytes: the file is not UTF-8. Save it as UTF-8",
                        "{0} с нулевыми байтами: файл не в UTF-8. Сохраните его в UTF-8"};
constexpr Text kLintUnknownKey{"the service ignores this key", "служба не знает этого ключа"};
constexpr Text kLintUnknownKeyMeant{"the service ignores this key; {0} is probably meant",
                                    "служба не знает этого ключа; вероятно, имеется в виду {0}"};
constexpr Text kLintKeySpelling{
    "the service ignores the line: the key must be exactly {0}, in this case and without blanks",
    "служба пропускает строку: ключ должен быть ровно {0}, с теми же прописными и без пробелов"};
constexpr Text kLintDuplicate{"does not count: the key stands again below, and the last one wins",
                              "не действует: ключ повторён ниже, побеждает последний"};
constexpr Text kLintBoolean{"'{0}' reads as {1}: only 1 and true are on",
                            "«{0}» читается как {1}: «включено» — только 1 и true"};
constexpr Text kLintHour{"'{0}' reads as {1} o'clock UTC", "«{0}» читается как {1} ч UTC"};
constexpr Text kLintNumber{"'{0}' reads as {1}", "«{0}» читается как {1}"};
constexpr Text kLintValueBlanks{"blanks around the value belong to it: '{0}'",
                                "пробелы по краям становятся частью значения: «{0}»"};
constexpr Text kLintEmptyPath{"the path is empty; without the line the service takes its default",
                              "путь пуст; без этой строки служба взяла бы путь по умолчанию"};
constexpr Text kLintRelativePath{
    "'{0}' is not a whole path and starts from the service's own folder, usually System32",
    "«{0}» — неполный путь, он отсчитывается от текущей папки службы, обычно System32"};
constexpr Text kLintServerScheme{"'{0}' does not begin with http:// or https://: downloads fail",
                                 "«{0}» не начинается с http:// или https://: загрузки не удадутся"};
constexpr Text kLintComment{"the service ignores this line and drops it at its next save",
                            "служба пропускает эту строку и при следующей записи потеряет её"};

}  // namespace korvel::ctl::words

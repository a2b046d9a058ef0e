// The words of 'check'.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kCheckHelp{"Judge files here, with the service's own rules; no service needed",
                          "Проверить файлы здесь, по правилам службы; служба не нужна"};
constexpr Text kCheckFilesHelp{"Files to check", "Проверяемые файлы"};
constexpr Text kCheckFromHelp{"Read names from a file, one a line; '-' is the standard input",
                              "Взять имена из файла, по одному в строке; «-» — стандартный ввод"};
constexpr Text kCheckExplainHelp{"Show every rule with its value and its limit",
                                 "Показать каждое правило, значение и порог"};
constexpr Text kCheckDbHelp{"Use this signature file instead of the service's",
                            "Взять этот файл сигнатур вместо файлов службы"};
constexpr Text kCheckFailOnHelp{"Severity from which the exit code is 1 (high)",
                                "С какого уровня код выхода 1 (high)"};
constexpr Text kCheckExample{"One file", "Один файл"};
constexpr Text kCheckExplainExample{"Why a file is flagged, and whether a scan would reach it",
                                    "Почему файл отмечен и дойдёт ли до него сканирование"};
constexpr Text kCheckFromExample{"A list of names", "Список имён"};
constexpr Text kCheckNote{
    "A check reads the files with your rights and changes nothing. A file that was not read to its end is "
    "never called clean: exit code 2 where it cannot be read, 5 where it is empty, above 512 MiB or not "
    "stored on this computer.",
    "Проверка читает файлы с вашими правами и ничего не меняет. Файл, прочитанный не до конца, чистым не "
    "считается: код выхода 2, если его не прочесть, 5, если он пуст, больше 512 МБ или хранится не здесь."};
constexpr Text kCheckNoFiles{"FILE or --from is missing", "не указано: FILE или --from"};
constexpr Text kCheckListUnreadable{"cannot read the list {0}", "не удалось прочесть список {0}"};
constexpr Text kCheckNoDatabase{"no signature file could be loaded: only the rules are applied",
                                "ни один файл сигнатур не загружен: применяются только правила"};
constexpr Text kCheckDbUnreadable{"cannot load the signature file {0}",
                                  "не удалось загрузить файл сигнатур {0}"};
constexpr Text kCheckIsFolder{"{0} is a folder; 'korvelctl scan' examines folders",
                              "{0} — папка; папки проверяет korvelctl scan"};

// Verdicts
constexpr Text kVerdictNothing{"nothing found", "ничего не найдено"};
constexpr Text kVerdictSeverity{"severity: {0}", "уровень: {0}"};
constexpr Text kVerdictNotExamined{"NOT EXAMINED", "НЕ ПРОВЕРЕН"};
constexpr Text kReadingMissing{"it does not exist or cannot be reached", "не существует или недоступен"};
constexpr Text kReadingEmpty{"it is empty", "пуст"};
constexpr Text kReadingTooLarge{"it is larger than 512 MiB", "больше 512 МБ"};
constexpr Text kReadingElsewhere{"its content is not stored on this computer and would have to be fetched",
                                 "содержимое хранится не здесь, его пришлось бы загружать"};
constexpr Text kReadingNotOpened{"it cannot be opened", "не открывается"};
constexpr Text kReadingBroken{"reading it broke off", "чтение оборвалось"};
constexpr Text kScopeYes{"reached by a scan: yes", "сканирование дойдёт: да"};
constexpr Text kScopeNo{"reached by a scan: no, {0}", "сканирование дойдёт: нет, {0}"};
constexpr Text kScopeShortPath{"its path is shorter than five characters", "путь короче пяти знаков"};
constexpr Text kScopeRecycleBin{"it lies in a recycle bin or among the volume information",
                                "лежит в корзине или среди сведений о томе"};
constexpr Text kScopeNoName{"its path ends in a separator", "путь кончается разделителем"};
constexpr Text kScopeSystemData{"Windows' own data files are left out",
                                "служебные файлы Windows пропускаются"};
constexpr Text kScopeKernel{"files of the kernel are left out", "файлы ядра пропускаются"};
constexpr Text kScopeNoExtension{"its name has no extension", "у имени нет расширения"};
constexpr Text kScopeExtension{"{0} is not a scanned extension", "расширение {0} не проверяется"};
constexpr Text kScopeExcluded{"the folder {0} is left out", "папка {0} пропускается"};
constexpr Text kScopeLink{"it is a link, and links are passed over", "это ссылка, а ссылки пропускаются"};
constexpr Text kScopeBehindLink{"a folder above it is a link, and links are not entered",
                                "одна из папок выше — ссылка, а в ссылки обход не входит"};
constexpr Text kListed{"listed", "есть в базе"};
constexpr Text kNotListed{"not listed", "нет в базе"};
constexpr Text kNoDatabaseLoaded{"no database", "база не загружена"};
constexpr Text kListedAs{"in the database: {0} ({1})", "в базе: {0} ({1})"};

// Rules
constexpr Text kRuleHit{"HIT", "ДА"};
constexpr Text kRuleNoHit{"no", "нет"};
constexpr Text kRuleNotPe{"no Windows executable, so the PE rules say nothing",
                          "не исполняемый файл Windows: правила PE не применяются"};
constexpr Text kRuleSignature{"digest listed: {0}", "сумма в базе: {0}"};
constexpr Text kRuleSignatureNone{"no digest is listed", "сумм файла в базе нет"};
constexpr Text kRulePacked{"a section name is that of a packer: {0}", "имя секции упаковщика: {0}"};
constexpr Text kRulePackedNot{"no section name is that of a packer: {0}",
                              "имена секций не из таблицы упаковщиков: {0}"};
constexpr Text kRuleEntropy{"highest section entropy {0}, limit > {1}",
                            "наибольшая энтропия секции {0}, порог > {1}"};
constexpr Text kRuleRwx{"sections both writable and executable: {0}",
                        "секции с записью и исполнением сразу: {0}"};
constexpr Text kRuleRwxNot{"no section is both writable and executable",
                           "нет секций с записью и исполнением сразу"};
constexpr Text kRuleImports{"imported names: {0}, suspicious only without any",
                            "имён в импорте: {0}, подозрительно только полное отсутствие"};
constexpr Text kRuleImportsSpared{"no imported name, but there is an import directory",
                                  "имён в импорте нет, но таблица импорта есть"};
constexpr Text kRuleApis{"imports {0}", "импортирует {0}"};
constexpr Text kRuleApisNot{"imports none of the watched functions", "не импортирует функций из списка"};
constexpr Text kRuleOverlay{"data behind the image: {0}, limit > {1}", "данных за образом: {0}, порог > {1}"};
constexpr Text kRuleTimestamp{"built {0}, suspicious only in the future",
                              "собран {0}, подозрительно только будущее"};
constexpr Text kRuleImpersonate{"{0} is a name of Windows' own, and the path holds none of {1}",
                                "{0} — имя из состава Windows, а в пути нет {1}"};
constexpr Text kRuleImpersonateSpared{"{0} is a name of Windows' own, but the path holds {1}",
                                      "{0} — имя из состава Windows, но в пути есть {1}"};
constexpr Text kRuleImpersonateNot{"{0} is not a name of Windows' own", "{0} — не имя из состава Windows"};
constexpr Text kRuleDouble{"from the first dot on: {0}", "от первой точки: {0}"};
constexpr Text kRuleDoubleNone{"the name has no two extensions", "у имени нет двух расширений"};
constexpr Text kRuleDownload{"the path holds {0}", "в пути есть {0}"};
constexpr Text kRuleDownloadNot{"the path lacks a downloads folder or one of {0}",
                                "в пути нет папки загрузок или одного из {0}"};
constexpr Text kRuleOther{"value {0}, limit {1}", "значение {0}, порог {1}"};

// Summary
constexpr Text kCheckSummary{"{0} checked, threats: {1}, suspicious: {2}, not examined: {3}",
                             "{0}; угроз: {1}, подозрительных: {2}, не проверено: {3}"};
constexpr Plural kCheckedFiles{{"file", "files"}, {"файл", "файла", "файлов"}};
constexpr Text kCheckDatabase{"Database: {0}, {1}", "База: {0}, {1}"};
constexpr Plural kCheckSignatures{{"signature", "signatures"}, {"сигнатура", "сигнатуры", "сигнатур"}};
constexpr Text kCheckNoSignatures{"Database: none loaded", "База: не загружена"};

}  // namespace korvel::ctl::words

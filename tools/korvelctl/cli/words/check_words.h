// The words of 'check'.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

inline constexpr Text kCheckHelp{"Judge files here, with the service's own rules; no service needed",
                                 "Проверить файлы здесь, по правилам службы; служба не нужна"};
inline constexpr Text kCheckFilesHelp{"Files to check", "Проверяемые файлы"};
inline constexpr Text kCheckFromHelp{"Read names from a file, one a line; '-' is the standard input",
                                     "Взять имена из файла, по одному в строке; «-» — стандартный ввод"};
inline constexpr Text kCheckExplainHelp{"Show every rule with its value and its limit",
                                        "Показать каждое правило, значение и порог"};
inline constexpr Text kCheckDbHelp{"Use this signature file instead of the service's",
                                   "Взять этот файл сигнатур вместо файлов службы"};
inline constexpr Text kCheckFailOnHelp{"Severity from which the exit code is 1 (high)",
                                       "С какого уровня код выхода 1 (high)"};
inline constexpr Text kCheckExample{"One file", "Один файл"};
inline constexpr Text kCheckExplainExample{"Why a file is flagged, and whether a scan would reach it",
                                           "Почему файл отмечен и дойдёт ли до него сканирование"};
inline constexpr Text kCheckFromExample{"A list of names", "Список имён"};
inline constexpr Text kCheckNote{
    "A check reads the files with your rights and changes nothing. A file that was not read to its end is "
    "never called clean: exit code 2 where it cannot be read, 5 where it is empty, above 512 MiB or not "
    "stored on this computer.",
    "Проверка читает файлы с вашими правами и ничего не меняет. Файл, прочитанный не до конца, чистым не "
    "считается: код выхода 2, если его не прочесть, 5, если он пуст, больше 512 МБ или хранится не здесь."};
inline constexpr Text kCheckNoFiles{"FILE or --from is missing", "не указано: FILE или --from"};
inline constexpr Text kCheckListUnreadable{"cannot read the list {0}", "не удалось прочесть список {0}"};
inline constexpr Text kCheckNoDatabase{"no signature file could be loaded: only the rules are applied",
                                       "ни один файл сигнатур не загружен: применяются только правила"};
inline constexpr Text kCheckDbUnreadable{"cannot load the signature file {0}",
                                         "не удалось загрузить файл сигнатур {0}"};
inline constexpr Text kCheckIsFolder{"{0} is a folder; 'korvelctl scan' examines folders",
                                     "{0} — папка; папки проверяет korvelctl scan"};

// Verdicts
inline constexpr Text kVerdictNothing{"nothing found", "ничего не найдено"};
inline constexpr Text kVerdictNotExamined{"NOT EXAMINED", "НЕ ПРОВЕРЕН"};
inline constexpr Text kReadingMissing{"it does not exist or cannot be reached",
                                      "не существует или недоступен"};
inline constexpr Text kReadingEmpty{"it is empty", "пуст"};
inline constexpr Text kReadingTooLarge{"it is larger than 512 MiB", "больше 512 МБ"};
inline constexpr Text kReadingElsewhere{
    "its content is not stored on this computer and would have to be fetched",
    "содержимое хранится не здесь, его пришлось бы загружать"};
inline constexpr Text kReadingNotOpened{"it cannot be opened", "не открывается"};
inline constexpr Text kReadingBroken{"reading it broke off", "чтение оборвалось"};
inline constexpr Text kScopeYes{"reached by a scan: yes", "сканирование дойдёт: да"};
inline constexpr Text kScopeNo{"reached by a scan: no, {0}", "сканирование дойдёт: нет, {0}"};
inline constexpr Text kScopeShortPath{"its path is shorter than five characters", "путь короче пяти знаков"};
inline constexpr Text kScopeRecycleBin{"it lies in a recycle bin or among the volume information",
                                       "лежит в корзине или среди сведений о томе"};
inline constexpr Text kScopeNoName{"its path ends in a separator", "путь кончается разделителем"};
inline constexpr Text kScopeSystemData{"Windows' own data files are left out",
                                       "служебные файлы Windows пропускаются"};
inline constexpr Text kScopeKernel{"files of the kernel are left out", "файлы ядра пропускаются"};
inline constexpr Text kScopeNoExtension{"its name has no extension", "у имени нет расширения"};
inline constexpr Text kScopeExtension{"{0} is not a scanned extension", "расширение {0} не проверяется"};
inline constexpr Text kScopeExcluded{"the folder {0} is left out", "папка {0} пропускается"};
inline constexpr Text kScopeLink{"it is a link, and links are passed over",
                                 "это ссылка, а ссылки пропускаются"};
inline constexpr Text kScopeBehindLink{"a folder above it is a link, and links are not entered",
                                       "одна из папок выше — ссылка, а в ссылки обход не входит"};
inline constexpr Text kListed{"listed", "есть в базе"};
inline constexpr Text kNotListed{"not listed", "нет в базе"};
inline constexpr Text kNoDatabaseLoaded{"no database", "база не загружена"};
inline constexpr Text kListedAs{"in the database: {0} ({1})", "в базе: {0} ({1})"};

// Rules
inline constexpr Text kRuleHit{"HIT", "ДА"};
inline constexpr Text kRuleNoHit{"no", "нет"};
inline constexpr Text kRuleNotPe{"no Windows executable, so the PE rules say nothing",
                                 "не исполняемый файл Windows: правила PE не применяются"};
inline constexpr Text kRuleSignature{"digest listed: {0}", "сумма в базе: {0}"};
inline constexpr Text kRuleSignatureNone{"no digest is listed", "сумм файла в базе нет"};
inline constexpr Text kRulePacked{"a section name is that of a packer: {0}", "имя секции упаковщика: {0}"};
inline constexpr Text kRulePackedNot{"no section name is that of a packer: {0}",
                                     "имена секций не из таблицы упаковщиков: {0}"};
inline constexpr Text kRuleEntropy{"highest section entropy {0}, limit > {1}",
                                   "наибольшая энтропия секции {0}, порог > {1}"};
inline constexpr Text kRuleRwx{"sections both writable and executable: {0}",
                               "секции с записью и исполнением сразу: {0}"};
inline constexpr Text kRuleRwxNot{"no section is both writable and executable",
                                  "нет секций с записью и исполнением сразу"};
inline constexpr Text kRuleImports{"imported names: {0}, suspicious only without any",
                                   "имён в импорте: {0}, подозрительно только полное отсутствие"};
inline constexpr Text kRuleImportsSpared{"no imported name, but there is an import directory",
                                         "имён в импорте нет, но таблица импорта есть"};
inline constexpr Text kRuleApis{"imports {0}", "импортирует {0}"};
inline constexpr Text kRuleApisNot{"imports none of the watched functions",
                                   "не импортирует функций из списка"};
inline constexpr Text kRuleOverlay{"data behind the image: {0}, limit > {1}",
                                   "данных за образом: {0}, порог > {1}"};
inline constexpr Text kRuleTimestamp{"built {0}, suspicious only in the future",
                                     "собран {0}, подозрительно только будущее"};
inline constexpr Text kRuleImpersonate{"{0} is a name of Windows' own, and the path holds none of {1}",
                                       "{0} — имя из состава Windows, а в пути нет {1}"};
inline constexpr Text kRuleImpersonateSpared{"{0} is a name of Windows' own, but the path holds {1}",
                                             "{0} — имя из состава Windows, но в пути есть {1}"};
inline constexpr Text kRuleImpersonateNot{"{0} is not a name of Windows' own",
                                          "{0} — не имя из состава Windows"};
inline constexpr Text kRuleDouble{"from the first dot on: {0}", "от первой точки: {0}"};
inline constexpr Text kRuleDoubleNone{"the name has no two extensions", "у имени нет двух расширений"};
inline constexpr Text kRuleDownload{"the path holds {0}", "в пути есть {0}"};
inline constexpr Text kRuleDownloadNot{"the path lacks a downloads folder or one of {0}",
                                       "в пути нет папки загрузок или одного из {0}"};
inline constexpr Text kRuleOther{"value {0}, limit {1}", "значение {0}, порог {1}"};

// Summary
inline constexpr Text kCheckSummary{"{0} checked, threats: {1}, suspicious: {2}, not examined: {3}",
                                    "{0}; угроз: {1}, подозрительных: {2}, не проверено: {3}"};
inline constexpr Plural kCheckedFiles{{"file", "files"}, {"файл", "файла", "файлов"}};
inline constexpr Text kCheckDatabases{"Signature files: {0}", "Файлы сигнатур: {0}"};

}  // namespace korvel::ctl::words

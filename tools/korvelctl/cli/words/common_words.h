// What the framework itself says: usage errors, help, questions, common words.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kDescription{"Asks and tells the KORVEL protection service through its control pipe.",
                            "Спрашивает службу защиты KORVEL и управляет ею через её канал."};
constexpr Text kRootNote{
    "Exit codes: 0 done, nothing found; 1 threats or findings; 2 refused or failed; 3 service not "
    "reachable; 4 protocol trouble; 5 the scan did not complete; 64 wrong usage; 70 internal error.",
    "Коды выхода: 0 выполнено, ничего не найдено; 1 угрозы или замечания; 2 отказ или ошибка; 3 служба "
    "недоступна; 4 сбой обмена; 5 проверка не завершена; 64 неверный вызов; 70 внутренняя ошибка."};
constexpr Text kLanguageNote{
    "The language is that of Windows; --lang and the variable KORVEL_LANG change it, NO_COLOR switches "
    "colours off.",
    "Язык берётся у Windows; его меняют --lang и переменная KORVEL_LANG, NO_COLOR отключает цвета."};

// Help
constexpr Text kUsage{"Usage:", "Вызов:"};
constexpr Text kCommands{"Commands:", "Команды:"};
constexpr Text kArguments{"Arguments:", "Аргументы:"};
constexpr Text kOptions{"Options:", "Параметры:"};
constexpr Text kGlobalOptions{"Options of every command:", "Параметры любой команды:"};
constexpr Text kExamples{"Examples:", "Примеры:"};
constexpr Text kMoreHelp{"'korvelctl help COMMAND' tells more about a command.",
                         "Подробнее о команде: korvelctl help КОМАНДА"};
constexpr Text kGlobalHint{"Options of every command: korvelctl help",
                           "Параметры любой команды: korvelctl help"};
constexpr Text kRepeatable{"may be repeated", "можно повторять"};
constexpr Text kHelpHelp{"Show help", "Показать справку"};
constexpr Text kHelpExample{"Everything about scanning", "Всё о проверке"};
constexpr Text kHelpArgument{"The command to tell about", "Команда, о которой рассказать"};
constexpr Text kVersionHelp{"Show the version", "Показать версию"};

// Global options
constexpr Text kJsonHelp{"Print one JSON document", "Вывести один документ JSON"};
constexpr Text kNdjsonHelp{"Print a JSON document per line, as things happen",
                           "Выводить по документу JSON на строку по ходу дела"};
constexpr Text kFormatHelp{"Form of lists", "Вид списков"};
constexpr Text kLangHelp{"Language of texts", "Язык сообщений"};
constexpr Text kNoColorHelp{"No colours", "Без цветов"};
constexpr Text kQuietHelp{"No progress and no hints", "Без хода выполнения и подсказок"};
constexpr Text kVerboseHelp{"Progress also without a terminal", "Ход выполнения и без терминала"};
constexpr Text kTimeoutHelp{"Seconds to wait for a connection (10)", "Сколько секунд ждать соединения (10)"};
constexpr Text kPipeHelp{"Another pipe than the service's own, for tests",
                         "Другой канал вместо канала службы, для испытаний"};
constexpr Text kTraceHelp{"Write every exchange with the service to this file",
                          "Записать каждый обмен со службой в этот файл"};
constexpr Text kYesHelp{"Answer yes to every question", "Отвечать «да» на все вопросы"};
constexpr Text kDryRunHelp{"Change nothing, say what would change",
                           "Ничего не менять, только сказать, что изменится"};

// Wrong usage
constexpr Text kCommandMissing{"a command is missing", "не указана команда"};
constexpr Text kSubcommandMissing{"'{0}' needs one of: {1}", "для «{0}» нужно одно из: {1}"};
constexpr Text kUnknownCommand{"unknown command '{0}'", "неизвестная команда «{0}»"};
constexpr Text kUnknownOption{"unknown option '{0}'", "неизвестный параметр «{0}»"};
constexpr Text kUnexpectedArgument{"unexpected argument '{0}'", "лишний аргумент «{0}»"};
constexpr Text kArgumentMissing{"{0} is missing", "не указано: {0}"};
constexpr Text kValueMissing{"option {0} needs a value", "параметру {0} нужно значение"};
constexpr Text kValueUnwanted{"option {0} takes no value", "параметр {0} не принимает значения"};
constexpr Text kNotANumber{"{0} needs a whole number from {1} to {2}, not '{3}'",
                           "для {0} нужно целое число от {1} до {2}, а не «{3}»"};
constexpr Text kNotAChoice{"{0} takes {1}, not '{2}'", "{0} принимает {1}, а не «{2}»"};
constexpr Text kOneDocumentForm{"--json, --ndjson and --format exclude each other",
                                "--json, --ndjson и --format исключают друг друга"};
constexpr Text kDidYouMean{"did you mean '{0}'?", "может быть, «{0}»?"};
constexpr Text kSeeHelp{"see: {0} --help", "справка: {0} --help"};

// Questions
constexpr Text kQuestionEnd{"[y/N] ", "[д/Н] "};
constexpr Text kNeedsYes{"this would ask: {0} Without a terminal it needs --yes",
                         "здесь нужен ответ на вопрос: {0} Без терминала укажите --yes"};
constexpr Text kDeclined{"nothing was changed", "ничего не изменено"};

// Errors of the framework
constexpr Text kInternalError{"internal error, please report it: {0}",
                              "внутренняя ошибка, сообщите о ней: {0}"};

// Common values
constexpr Text kOn{"on", "вкл."};
constexpr Text kOff{"off", "выкл."};
constexpr Text kYes{"yes", "да"};
constexpr Text kNo{"no", "нет"};
constexpr Text kNever{"never", "никогда"};
constexpr Text kSeverityClean{"clean", "чисто"};
constexpr Text kSeverityLow{"low", "низкий"};
constexpr Text kSeverityMedium{"medium", "средний"};
constexpr Text kSeverityHigh{"high", "высокий"};
constexpr Text kSeverityCritical{"critical", "критический"};
constexpr Text kSeverityUnknown{"unknown ({0})", "неизвестный ({0})"};

}  // namespace korvel::ctl::words

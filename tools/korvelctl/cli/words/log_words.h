// The words of the log commands and of completion.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kLogHelp{"Read the service's log, or shorten it", "Читать журнал службы или сократить его"};
constexpr Text kLogTailHelp{"Show the end of the log", "Показать конец журнала"};
constexpr Text kLogLinesHelp{"How many lines (20)", "Сколько строк (20)"};
constexpr Text kLogFollowHelp{"Go on with what is written, until Ctrl+C",
                              "Показывать и новые строки, до Ctrl+C"};
constexpr Text kLogTailExample{"The last hundred lines", "Последние сто строк"};
constexpr Text kLogFollowExample{"For a script that watches", "Для сценария, который следит"};
constexpr Text kLogTailNote{
    "The lines are the service's own, in its language; their times are local and without a date.",
    "Строки принадлежат службе и написаны на её языке; время местное, без даты."};
constexpr Text kLogFollowNoJson{"--follow has no end, so it needs --ndjson instead of --json",
                                "у --follow нет конца: нужен --ndjson, а не --json"};
constexpr Text kLogRotateHelp{"Put the log aside and begin a new one", "Отложить журнал и начать новый"};
constexpr Text kLogMaxHelp{"Only a log that is larger (10M)", "Только если журнал больше (10M)"};
constexpr Text kLogKeepHelp{"How many old parts stay (5)", "Сколько старых частей остаётся (5)"};
constexpr Text kLogRotateExample{"Once a week, from the task scheduler", "Раз в неделю, из планировщика"};
constexpr Text kLogRotateNote{
    "The service goes on writing meanwhile: the log is copied to korvel.log.1 and then emptied in place. "
    "Older parts "
    "become .2, .3 and so on.",
    "Служба при этом продолжает писать: журнал копируется в korvel.log.1 и затем очищается на месте. Более "
    "старые части "
    "становятся .2, .3 и так далее."};
constexpr Text kLogMaxBad{"--max needs a size such as 512K or 10M, not '{0}'",
                          "для --max нужен размер, например 512K или 10M, а не «{0}»"};
constexpr Text kLogRotateQuestion{"Put the log aside and delete parts beyond {0}?",
                                  "Отложить журнал и удалить части сверх {0}?"};
constexpr Text kLogNone{"there is no log yet: {0}", "журнала ещё нет: {0}"};
constexpr Text kLogUnreadable{"the log cannot be read: {0}", "журнал не читается: {0}"};
constexpr Text kLogNotRotated{"the log could not be put aside: {0}", "журнал отложить не удалось: {0}"};
constexpr Text kLogElevateAdvice{"run it as an administrator", "запустите от имени администратора"};
constexpr Text kLogRotated{"the log ({0}) is now {1}", "журнал ({0}) теперь {1}"};
constexpr Text kLogSmall{"the log has {0}, not more than {1}: nothing to do",
                         "в журнале {0}, не больше {1}: делать нечего"};
constexpr Text kLogWouldRotate{"would put the log ({0}) aside", "журнал ({0}) был бы отложен"};

constexpr Text kCompletionHelp{"Print a script that completes command lines",
                               "Вывести сценарий, дополняющий командные строки"};
constexpr Text kCompletionShell{"The shell: powershell", "Оболочка: powershell"};
constexpr Text kCompletionExample{"In the profile of PowerShell", "В профиле PowerShell"};

}  // namespace korvel::ctl::words

// The words of watch.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kWatchHelp{"Print real-time detections as they come, until Ctrl+C",
                          "Показывать обнаружения в реальном времени до Ctrl+C"};
constexpr Text kWatchApplyHelp{"Quarantine what comes, while the setting QuarantineOnDetect is on",
                               "Сразу отправлять в карантин, пока включена настройка QuarantineOnDetect"};
constexpr Text kWatchIntervalHelp{"Seconds between two looks (5)", "Сколько секунд между запросами (5)"};
constexpr Text kWatchForHelp{"End after S seconds", "Закончить через S секунд"};
constexpr Text kWatchEventLogHelp{"Also write into the Windows event log",
                                  "Записывать и в журнал событий Windows"};
constexpr Text kWatchMinSeverityHelp{"With --apply: from which severity on (high)",
                                     "Для --apply: начиная с какого уровня (high)"};
constexpr Text kWatchExample{"What is detected now", "Что обнаруживается сейчас"};
constexpr Text kWatchExampleEventLog{"For programs that collect events", "Для программ, собирающих события"};
constexpr Text kWatchNote{
    "The service hands out each detection once, to the client that asks first. Two watchers share them.",
    "Служба отдаёт каждое обнаружение один раз, первому спросившему. Два наблюдателя делят их между собой."};
constexpr Text kWatching{"watching, Ctrl+C ends", "наблюдаем, Ctrl+C завершит"};
constexpr Text kWatchLost{"the service cannot be asked: {0}; trying again",
                          "службу не спросить: {0}; пробуем снова"};
constexpr Text kWatchBack{"the service answers again, version {0}", "служба снова отвечает, версия {0}"};
constexpr Text kWatchEnd{"Detections seen: {0}", "Замечено обнаружений: {0}"};
constexpr Text kEventLogFailed{"the event log cannot be written", "журнал событий не записывается"};
constexpr Text kEventLogSource{
    "the event log's source is not registered: events are written without their sentences; "
    "'korvelctl service install' as administrator registers it",
    "источник журнала событий не зарегистрирован: события пишутся без пояснений; зарегистрирует "
    "«korvelctl service install» от имени администратора"};
constexpr Text kNotHashed{"the file cannot be read", "файл не прочитать"};

}  // namespace korvel::ctl::words

// The words of status and ping.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kStatusHelp{"Show what the service does, and what is wrong",
                           "Показать состояние службы и что не так"};
constexpr Text kStatusCheckHelp{"For monitoring: exit code 2 when something is wrong",
                                "Для наблюдения: код 2, если что-то не так"};
constexpr Text kStatusWatchHelp{"Show it again every N seconds, until Ctrl+C",
                                "Повторять каждые N секунд до Ctrl+C"};
constexpr Text kStatusExample{"What the service does now", "Состояние службы сейчас"};
constexpr Text kStatusCheckExample{"One document for a monitoring system; 2 when something is wrong",
                                   "Один документ для системы наблюдения; код 2, если что-то не так"};
constexpr Text kStatusNote{
    "Wrong is: protection or real-time protection off, no signatures, a database older than 3 days while "
    "live "
    "updates are on, a failed check for updates.",
    "Не так: защита или защита в реальном времени выключена, нет сигнатур, база старше 3 дней при включённых "
    "обновлениях, проверка обновлений не удалась."};
constexpr Text kWatchNoJson{"--watch goes on until Ctrl+C; use --ndjson with it instead of --json",
                            "--watch идёт до Ctrl+C; с ним нужен --ndjson вместо --json"};
constexpr Text kPingHelp{"Ask whether the service answers", "Проверить, отвечает ли служба"};
constexpr Text kPingCountHelp{"How often to ask (1)", "Сколько раз спросить (1)"};
constexpr Text kPingWaitHelp{"Wait up to S seconds for the service", "Ждать службу до S секунд"};
constexpr Text kPingExample{"Whether the service answers", "Отвечает ли служба"};
constexpr Text kPingWaitExample{"Wait until the service has started, at most a minute",
                                "Дождаться запуска службы, не дольше минуты"};
constexpr Text kPingAnswer{"the service answers: {0} ms, running for {1}",
                           "служба отвечает: {0} мс, система работает {1}"};

constexpr Text kService{"Service", "Служба"};
constexpr Text kServiceAnswers{"answers, version {0} ({1} ms)", "отвечает, версия {0} ({1} мс)"};
constexpr Text kSignatures{"Signatures", "Сигнатуры"};
constexpr Text kSignaturesLoaded{"{0}, database {1}", "{0}, база {1}"};
constexpr Text kUpdatedAgo{"updated {0} ago", "обновлены {0} назад"};
constexpr Text kNeverUpdated{"never updated", "не обновлялись"};
constexpr Text kNoSignatures{"none loaded", "не загружены"};
constexpr Text kProtection{"Protection", "Защита"};
constexpr Text kProtectionOn{"on", "включена"};
constexpr Text kProtectionOff{"off", "выключена"};
constexpr Text kRealTime{"Real time", "Реальное время"};
constexpr Text kRealTimeUseless{"on, but without signatures it protects nothing",
                                "включена, но без сигнатур ничего не защищает"};
constexpr Text kDriverConnected{"driver connected, {0}", "драйвер подключён, {0}"};
constexpr Text kDriverAbsent{"driver not connected", "драйвер не подключён"};
constexpr Plural kQueries{{"query answered", "queries answered"},
                          {"запрос обработан", "запроса обработано", "запросов обработано"}};
constexpr Text kScan{"Scan", "Сканирование"};
constexpr Text kScanRuns{"running", "идёт"};
constexpr Text kScanIdle{"not running", "не идёт"};
constexpr Text kLastScan{"last {0}, threats: {1}", "последнее {0}, угроз: {1}"};
constexpr Text kNoScanYet{"none yet", "ещё не было"};
constexpr Text kUpdate{"Update", "Обновление"};
constexpr Text kLiveUpdates{"live updates {0}", "живые обновления: {0}"};
constexpr Text kLiveUpdateRuns{"a live update is running", "идёт обновление сигнатур"};
constexpr Text kCheckRuns{"the check is running", "идёт проверка"};
constexpr Text kCheckIdle{"no check is running", "проверка не идёт"};
constexpr Text kCheckFailed{"the last check failed: {0}", "последняя проверка не удалась: {0}"};
constexpr Text kInstallerSaved{"installer saved: {0}", "установщик сохранён: {0}"};
constexpr Text kUpdateServer{"Update server", "Сервер"};
constexpr Text kServerNone{"none set", "не задан"};
constexpr Text kServerUnknown{"not known: settings.ini cannot be read by this user",
                              "неизвестен: этот пользователь не может прочитать settings.ini"};
constexpr Text kProblem{"Problem", "Проблема"};

constexpr Text kProblemProtectionOff{"protection is off", "защита выключена"};
constexpr Text kProblemRealTimeOff{"real-time protection is off", "защита в реальном времени выключена"};
constexpr Text kProblemNoSignatures{"no signatures are loaded: nothing is recognised by digest",
                                    "сигнатуры не загружены: по контрольным суммам ничего не узнаётся"};
constexpr Text kProblemOldDatabase{"the database is {0} old", "базе уже {0}"};
constexpr Text kProblemNeverUpdated{"live updates are on, but none has ever succeeded",
                                    "живые обновления включены, но ни одно не удалось"};
constexpr Text kProblemCheckFailed{"the last check for updates failed: {0}",
                                   "последняя проверка обновлений не удалась: {0}"};
constexpr Text kAdviceProtection{"korvelctl config set ProtectionEnabled=1",
                                 "korvelctl config set ProtectionEnabled=1"};
constexpr Text kAdviceRealTime{"korvelctl config set RealTimeEnabled=1, then restart the service",
                               "korvelctl config set RealTimeEnabled=1, затем перезапустите службу"};
constexpr Text kAdviceSignatures{"korvelctl update signatures, or check SignatureDb",
                                 "korvelctl update signatures или проверьте SignatureDb"};
constexpr Text kAdviceUpdate{"korvelctl update signatures", "korvelctl update signatures"};
constexpr Text kAdviceProgram{"korvelctl update program", "korvelctl update program"};

}  // namespace korvel::ctl::words

// The words of config list, get and set.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kConfigHelp{"Look at the service's settings, or change them",
                           "Посмотреть или изменить настройки службы"};
constexpr Text kConfigListHelp{"List every setting with its meaning", "Показать все настройки с пояснением"};
constexpr Text kConfigGetHelp{"Show settings", "Показать отдельные настройки"};
constexpr Text kConfigSetHelp{"Change settings", "Изменить настройки"};
constexpr Text kConfigKeys{"Names of settings, in any case", "Имена настроек, в любом регистре"};
constexpr Text kConfigAssignments{"KEY=VALUE, the key in any case", "КЛЮЧ=ЗНАЧЕНИЕ, ключ в любом регистре"};
constexpr Text kAcceptResetHelp{"Let the service forget its update server",
                                "Позволить службе забыть сервер обновлений"};
constexpr Text kKeepServerHelp{"Put the update server back; stops and starts the service, as administrator",
                               "Вернуть сервер обновлений; служба перезапускается, нужен администратор"};
constexpr Text kConfigListExample{"Every setting, and what it means", "Все настройки и их смысл"};
constexpr Text kConfigGetExample{"One value, for a script", "Одно значение для сценария"};
constexpr Text kConfigSetExample{"The daily scan at 22 o'clock UTC", "Ежедневная проверка в 22 часа UTC"};
constexpr Text kConfigSetExampleKeep{"Keep the update server, too", "Сохранить и сервер обновлений"};
constexpr Text kConfigSetNote{
    "A change over the pipe makes the service forget UpdateServer, because that value does not travel. When "
    "one is set, choose --accept-server-reset or --keep-server.",
    "При изменении через канал служба забывает UpdateServer: это значение не передаётся. Если он задан, "
    "выберите --accept-server-reset или --keep-server."};

constexpr Text kKey{"key", "ключ"};
constexpr Text kValue{"value", "значение"};
constexpr Text kMeaning{"meaning", "смысл"};
constexpr Text kMeaningNow{"{0}; now: {1}", "{0}; сейчас: {1}"};
constexpr Text kUnused{"the service does nothing with it", "служба его не использует"};
constexpr Text kNextStart{"from the next start", "со следующего запуска"};
constexpr Text kOwnRecord{"kept by the service", "ведёт сама служба"};
constexpr Text kValueUnknown{"(not readable)", "(не прочитать)"};
constexpr Text kHourMeaning{"{0}:00 UTC, {1}:00 local time", "{0}:00 UTC, {1}:00 по местному времени"};

constexpr Text kMeansProtection{"protection as a whole", "защита в целом"};
constexpr Text kMeansRealTime{"real-time protection", "защита в реальном времени"};
constexpr Text kMeansArchives{"scan archives", "проверка архивов"};
constexpr Text kMeansRemovable{"scan removable drives", "проверка съёмных дисков"};
constexpr Text kMeansModal{"the user interface asks at a detection", "окно пользователя при обнаружении"};
constexpr Text kMeansQuarantine{"the user interface and 'watch --apply' quarantine at once",
                                "интерфейс и watch --apply сразу отправляют в карантин"};
constexpr Text kMeansScheduled{"daily scan", "ежедневная проверка"};
constexpr Text kMeansHour{"hour of the daily scan", "час ежедневной проверки"};
constexpr Text kMeansLastScan{"end of the last scan", "конец последней проверки"};
constexpr Text kMeansThreatCount{"threats of the last scan", "угроз в последней проверке"};
constexpr Text kMeansSignatureDb{"the signature file", "файл сигнатур"};
constexpr Text kMeansQuarantineDir{"the quarantine's folder", "папка карантина"};
constexpr Text kMeansLiveUpdates{"daily update of the signatures", "ежедневное обновление сигнатур"};
constexpr Text kMeansLastUpdate{"last update of the signatures", "последнее обновление сигнатур"};
constexpr Text kMeansShield{"dangerous sites blocked in the hosts file", "блокировка сайтов в файле hosts"};
constexpr Text kMeansServer{"where updates come from; from settings.ini",
                            "откуда берутся обновления; из settings.ini"};

constexpr Text kUnknownKey{"unknown setting '{0}'", "неизвестная настройка «{0}»"};
constexpr Text kNotAnAssignment{"'{0}' is not KEY=VALUE", "«{0}» не имеет вида КЛЮЧ=ЗНАЧЕНИЕ"};
constexpr Text kCounterNotSet{"{0} is the service's own record and cannot be set",
                              "{0} ведёт сама служба, задать его нельзя"};
constexpr Text kServerNotSet{
    "UpdateServer does not travel on the pipe: stop the service, write the line into settings.ini, start it",
    "UpdateServer через канал не передаётся: остановите службу, впишите строку в settings.ini и запустите "
    "её"};
constexpr Text kNotABoolean{"{0} is on or off (1 or 0), not '{1}'",
                            "{0}: включено или выключено (1 или 0), а не «{1}»"};
constexpr Text kNotAnHour{"{0} is an hour from 0 to 23 in UTC, not '{1}'",
                          "{0}: час от 0 до 23 по UTC, а не «{1}»"};
constexpr Text kNotASettingPath{"{0} is an absolute path, not '{1}'", "{0}: полный путь, а не «{1}»"};
constexpr Text kServerWouldGo{
    "the service would forget its update server {0}: choose --accept-server-reset or --keep-server",
    "служба забудет сервер обновлений {0}: выберите --accept-server-reset или --keep-server"};
constexpr Text kServerMayGo{
    "settings.ini cannot be read, so an update server in it might be lost: choose --accept-server-reset, or "
    "run this as administrator",
    "settings.ini не прочитать, заданный там сервер обновлений может пропасть: выберите "
    "--accept-server-reset "
    "или запустите от имени администратора"};
constexpr Text kKeepNeedsAdmin{"--keep-server needs an administrator's rights",
                               "для --keep-server нужны права администратора"};
constexpr Text kKeepNotOurs{"--keep-server needs the service to run under the service manager",
                            "--keep-server нужен, чтобы службой управлял диспетчер служб"};
constexpr Text kSettingChanged{"{0}: {1} -> {2}", "{0}: {1} → {2}"};
constexpr Text kSettingSame{"{0} is {1} already", "{0} уже {1}"};
constexpr Text kWouldChangeSetting{"would change {0}: {1} -> {2}", "изменилось бы {0}: {1} → {2}"};
constexpr Text kRestartNeeded{"{0} counts from the service's next start: korvelctl service restart",
                              "{0} подействует после перезапуска службы: korvelctl service restart"};
constexpr Text kServerForgotten{"the service has forgotten its update server {0}",
                                "служба забыла сервер обновлений {0}"};
constexpr Text kServerKept{"the update server is kept: {0}", "сервер обновлений сохранён: {0}"};
constexpr Text kNotTaken{"the service has not taken the value", "служба не приняла значение"};
constexpr Text kKeepFailed{"the update server could not be put back, it was {0}",
                           "вернуть сервер обновлений не удалось, он был {0}"};

}  // namespace korvel::ctl::words

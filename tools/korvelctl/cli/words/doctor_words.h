// The words of doctor and selftest.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

inline constexpr Text kDoctorHelp{"Examine the whole installation", "Обследовать всю установку"};
inline constexpr Text kDoctorExample{"One page, with a next step for each finding",
                                     "Одна страница, для каждого замечания — что делать"};
inline constexpr Text kDoctorAdminExample{"For a script or a ticket",
                                          "Для сценария или обращения в поддержку"};
inline constexpr Text kDoctorNote{
    "Nothing is changed. What your rights do not let you look at is said to be so: an elevated prompt sees "
    "more. "
    "The update server is asked from your account, which may use another proxy than the service. Exit code 1 "
    "when "
    "there is a warning or a failure.",
    "Ничего не изменяется. Если прав для осмотра не хватает, так и сказано: из командной строки "
    "администратора видно "
    "больше. Сервер обновлений опрашивается от вашего имени, служба может ходить через другой прокси. Код "
    "выхода 1, "
    "если есть предупреждение или ошибка."};
inline constexpr Text kDoctorOfflineHelp{"Do not ask the update server", "Не опрашивать сервер обновлений"};

inline constexpr Text kStateOk{"ok", "норма"};
inline constexpr Text kStateWarning{"WARNING", "ВНИМАНИЕ"};
inline constexpr Text kStateFailure{"FAILURE", "ОШИБКА"};
inline constexpr Text kStateNotLookedAt{"not looked at", "не осмотрено"};
inline constexpr Text kColumnState{"STATE", "СОСТОЯНИЕ"};
inline constexpr Text kColumnCheck{"CHECK", "ЧТО"};
inline constexpr Text kColumnMessage{"FOUND", "НАЙДЕНО"};
inline constexpr Text kColumnNextStep{"NEXT STEP", "ЧТО ДЕЛАТЬ"};
inline constexpr Text kAllWell{"{0} checks: all well", "Проверено: {0}, всё в порядке"};
inline constexpr Text kSummary{
    "{0} checks: {1} ok, warnings: {2}, failures: {3}, not looked at: {4}",
    "Проверок: {0}, в норме: {1}, предупреждений: {2}, ошибок: {3}, не осмотрено: {4}"};

// What was looked at
inline constexpr Text kTitleService{"service", "служба"};
inline constexpr Text kTitleRegistration{"registration", "регистрация службы"};
inline constexpr Text kTitlePipe{"pipe", "канал"};
inline constexpr Text kTitleProtection{"protection", "защита"};
inline constexpr Text kTitleDatabase{"signatures", "сигнатуры"};
inline constexpr Text kTitleDatabaseAge{"age of the signatures", "возраст сигнатур"};
inline constexpr Text kTitleUpdateServer{"update server", "сервер обновлений"};
inline constexpr Text kTitleSettings{"settings.ini", "settings.ini"};
inline constexpr Text kTitleQuarantine{"quarantine", "карантин"};
inline constexpr Text kTitleLog{"log", "журнал"};
inline constexpr Text kTitleHosts{"hosts file", "файл hosts"};
inline constexpr Text kTitleProgramRights{"rights: program", "права: программа"};
inline constexpr Text kTitleDataRights{"rights: data", "права: данные"};
inline constexpr Text kTitleQuarantineRights{"rights: quarantine", "права: карантин"};
inline constexpr Text kTitleClock{"clock", "часы"};

// Next steps that need an administrator
inline constexpr Text kRunInstall{"as an administrator: korvelctl service install",
                                  "от имени администратора: korvelctl service install"};
inline constexpr Text kRunStart{"as an administrator: korvelctl service start",
                                "от имени администратора: korvelctl service start"};
inline constexpr Text kRunElevated{"run doctor as an administrator",
                                   "запустите doctor от имени администратора"};
inline constexpr Text kAfterService{"see the lines 'service' and 'pipe'", "см. строки «служба» и «канал»"};

// service
inline constexpr Text kServiceRuns{"runs, process {0}", "работает, процесс {0}"};
inline constexpr Text kServiceByHand{
    "not installed, but a program answers on the pipe (started with --console?)",
    "не установлена, но на канале кто-то отвечает (запуск с --console?)"};
inline constexpr Text kServiceNotInstalled{"is not installed", "не установлена"};
inline constexpr Text kServiceStopped{"is stopped", "остановлена"};
inline constexpr Text kServiceFailed{"is stopped; its last start or run failed with code {0}",
                                     "остановлена; последний запуск или работа закончились с кодом {0}"};
inline constexpr Text kServiceSeeLog{
    "korvelctl log tail -n 20 and korvelctl config lint, then: korvelctl service start",
    "korvelctl log tail -n 20 и korvelctl config lint, затем: korvelctl service start"};
inline constexpr Text kServiceStarting{"is starting", "запускается"};
inline constexpr Text kServiceStopping{"is stopping", "останавливается"};
inline constexpr Text kWaitAndLook{"wait a minute and look again", "подождите минуту и посмотрите снова"};
inline constexpr Text kServiceUnknownState{"is in state {0}", "в состоянии {0}"};
inline constexpr Text kCannotAsk{"could not be asked (error {0})", "не удалось узнать (ошибка {0})"};

// registration
inline constexpr Text kRegistrationGood{"automatic start, quoted path, restart after a crash",
                                        "автоматический запуск, путь в кавычках, перезапуск после сбоя"};
inline constexpr Text kRegistrationGoodPartly{
    "automatic start, quoted path; the restart after a crash is not told",
    "автоматический запуск, путь в кавычках; о перезапуске после сбоя ничего "
    "не известно"};
inline constexpr Text kFaultProgram{"another program is registered: {0}",
                                    "зарегистрирована другая программа: {0}"};
inline constexpr Text kFaultQuotes{
    "the path has blanks and no quotation marks, so another program could be started",
    "путь с пробелами без кавычек: вместо службы может запуститься другая программа"};
inline constexpr Text kFaultStart{"does not start by itself", "не запускается автоматически"};
inline constexpr Text kFaultAccount{"runs as {0}, not as LocalSystem",
                                    "работает от имени {0}, а не LocalSystem"};
inline constexpr Text kFaultRecovery{"is not restarted after a crash", "не перезапускается после сбоя"};
inline constexpr Text kNothingRegistered{"nothing is registered", "регистрации нет"};

// pipe, protection, signatures
inline constexpr Text kPipeAnswers{"answers, version {0} ({1} ms)", "отвечает, версия {0} ({1} мс)"};
inline constexpr Text kServiceDoesNotAnswer{"the service does not answer", "служба не отвечает"};
inline constexpr Text kProtectionOn{"on, real-time on", "включена, в реальном времени тоже"};
inline constexpr Text kProtectionOnDriver{"on, real-time on, driver connected",
                                          "включена, в реальном времени тоже, драйвер подключён"};
inline constexpr Text kProtectionOff{"protection is off", "защита выключена"};
inline constexpr Text kProtectionOffStep{"korvelctl config set ProtectionEnabled=1",
                                         "korvelctl config set ProtectionEnabled=1"};
inline constexpr Text kRealTimeOff{"real-time protection is off", "защита в реальном времени выключена"};
inline constexpr Text kRealTimeOffStep{
    "korvelctl config set RealTimeEnabled=1, then: korvelctl service restart",
    "korvelctl config set RealTimeEnabled=1, затем: korvelctl service restart"};
inline constexpr Text kDatabaseLoaded{"{0}, version {1}", "{0}, версия {1}"};
inline constexpr Text kDatabaseEmpty{"no signatures are loaded: nothing is protected",
                                     "сигнатуры не загружены: защиты нет"};
inline constexpr Text kDatabaseEmptyStep{
    "korvelctl config get SignatureDb: the file must exist; then: korvelctl reload",
    "korvelctl config get SignatureDb: файл должен существовать; затем: korvelctl "
    "reload"};
inline constexpr Text kUpdatedAgo{"last live update {0} ago", "последнее обновление {0} назад"};
inline constexpr Text kUpdatedTooLongAgo{"last live update {0} ago; it should come every day",
                                         "последнее обновление {0} назад, а должно быть каждый день"};
inline constexpr Text kNeverUpdated{"never updated", "ещё не обновлялись"};
inline constexpr Text kUpdatesOff{"live updates are off", "обновления выключены"};
inline constexpr Text kUpdatesOffStep{"korvelctl config set LiveUpdates=1",
                                      "korvelctl config set LiveUpdates=1"};
inline constexpr Text kUpdateStep{"korvelctl update signatures", "korvelctl update signatures"};

// update server
inline constexpr Text kServerPublic{"none is configured: the public lists are used, and were not asked",
                                    "не задан: берутся общедоступные списки, они не опрашивались"};
inline constexpr Text kServerUnknown{"the configured address could not be read",
                                     "заданный адрес прочитать не удалось"};
inline constexpr Text kServerNotAsked{"{0} was not asked", "{0} не опрашивался"};
inline constexpr Text kServerAnswers{"{0} answers this account ({1} ms)",
                                     "{0} отвечает вашей учётной записи ({1} мс)"};
inline constexpr Text kServerStatus{"{0} answers with HTTP status {1}", "{0} отвечает кодом HTTP {1}"};
inline constexpr Text kServerStatusStep{"does the address lead to the folder above api/v1?",
                                        "ведёт ли адрес к каталогу, в котором лежит api/v1?"};
inline constexpr Text kServerUnreachable{"{0} could not be reached from this account (error {1})",
                                         "{0} недоступен для вашей учётной записи (ошибка {1})"};
inline constexpr Text kServerUnreachableStep{
    "look at the network, the proxy (netsh winhttp show proxy) and the address",
    "проверьте сеть, прокси (netsh winhttp show proxy) и адрес"};

// settings
inline constexpr Text kSettingsGood{"is read as it looks", "читается так, как написано"};
inline constexpr Text kSettingsMissing{"is missing; the service writes it at its next start",
                                       "отсутствует; служба запишет его при следующем запуске"};
inline constexpr Text kSettingsUnreadable{"cannot be read by you (error {0})", "вам недоступен (ошибка {0})"};
inline constexpr Text kSettingsBad{"keeps the service from starting (lines: {0})",
                                   "не даёт службе запуститься (строк: {0})"};
inline constexpr Text kSettingsOdd{"is read otherwise than it looks (lines: {0})",
                                   "читается не так, как выглядит (строк: {0})"};
inline constexpr Text kSettingsFixStep{
    "korvelctl config lint, then as an administrator: korvelctl config fix",
    "korvelctl config lint, затем от имени администратора: korvelctl config fix"};

// quarantine, log, hosts
inline constexpr Text kQuarantineGood{"{0}, all files there", "{0}, все файлы на месте"};
inline constexpr Text kQuarantineUnseen{"{0}; the folder was not looked at", "{0}; каталог не осмотрен"};
inline constexpr Text kQuarantineMissing{"{0}, files missing: {1}", "{0}, без файла: {1}"};
inline constexpr Text kQuarantineMissingStep{"korvelctl quarantine delete --missing",
                                             "korvelctl quarantine delete --missing"};
inline constexpr Text kQuarantineDamaged{"the index is damaged; files without a record: {0}",
                                         "указатель повреждён; файлов без записи: {0}"};
inline constexpr Text kQuarantineOrphans{"{0}, files without a record: {1}", "{0}, файлов без записи: {1}"};
inline constexpr Text kQuarantineStep{"korvelctl quarantine verify", "korvelctl quarantine verify"};
inline constexpr Text kLogSize{"{0}", "{0}"};
inline constexpr Text kLogLarge{"{0}, and it grows for ever", "{0}, и он растёт без предела"};
inline constexpr Text kLogStep{"as an administrator: korvelctl log rotate",
                               "от имени администратора: korvelctl log rotate"};
inline constexpr Text kLogMissing{"is not there yet", "пока нет"};
inline constexpr Text kHostsGood{"the web shield's block has {0}", "блок веб-защиты: {0}"};
inline constexpr Text kHostsNoneHere{"no block of the web shield", "блока веб-защиты нет"};
inline constexpr Text kHostsNone{"no block of the web shield, which is off",
                                 "блока веб-защиты нет, она выключена"};
inline constexpr Text kHostsNoBlock{"the web shield is on, but its block is not there",
                                    "веб-защита включена, но её блока нет"};
inline constexpr Text kHostsNoBlockStep{
    "it comes 30 s after the start of the service; see korvelctl log tail",
    "он появляется через 30 с после запуска службы; см. korvelctl log tail"};
inline constexpr Text kHostsLeftOver{"the web shield is off, but its block is still there",
                                     "веб-защита выключена, но её блок остался"};
inline constexpr Text kHostsLeftOverStep{"restart the service: it removes the block",
                                         "перезапустите службу: она уберёт блок"};
inline constexpr Text kHostsUnclosed{
    "the block has no end: the next update removes every line below its beginning",
    "у блока нет конца: следующее обновление удалит все строки после его начала"};
inline constexpr Text kHostsUnclosedStep{
    "write the line '# KORVEL WEB SHIELD END' where it should end",
    "впишите строку «# KORVEL WEB SHIELD END» туда, где он должен кончаться"};
inline constexpr Text kHostsLong{"{0}: looking up names becomes slow for all programs",
                                 "{0}: поиск имён замедляется у всех программ"};
inline constexpr Text kHostsLongStep{"publish a shorter blocklist, or: korvelctl config set WebShield=0",
                                     "сократите список доменов или: korvelctl config set WebShield=0"};

// rights
inline constexpr Text kRightsGood{"only administrators and the system may change {0}",
                                  "менять {0} могут только администраторы и система"};
inline constexpr Text kRightsClosed{"only administrators and the system may open {0}",
                                    "открывать {0} могут только администраторы и система"};
inline constexpr Text kRightsNoFolder{"{0} does not exist", "{0} не существует"};
inline constexpr Text kRightsNotLookedAt{"{0} is closed to you (error {1})",
                                         "{0} вам недоступен (ошибка {1})"};
inline constexpr Text kRightsNoList{"everyone may do everything in {0}", "в {0} все могут всё"};
inline constexpr Text kRightsMayChange{"{0} may be changed by: {1}", "{0} могут менять: {1}"};
inline constexpr Text kRightsMayLook{"{0} may be read by: {1}", "{0} могут читать: {1}"};
inline constexpr Text kRightsOwner{"{0} belongs to {1}, who can open it at any time",
                                   "{0} принадлежит {1} — владелец может открыть его в любой момент"};

// clock
inline constexpr Text kClockGood{"agrees with the update server", "совпадают с сервером обновлений"};
inline constexpr Text kClockUnknown{"nothing to compare it with", "не с чем сравнить"};
inline constexpr Text kClockDiffers{"differs from the update server's by {0}",
                                    "расходятся с сервером обновлений на {0}"};
inline constexpr Text kClockFuture{"the last update or scan lies in the future",
                                   "последнее обновление или проверка — в будущем"};
inline constexpr Text kClockStep{"set the clock: w32tm /resync", "выставьте часы: w32tm /resync"};

// selftest
inline constexpr Text kSelftestHelp{"Send the EICAR test file through scan and quarantine",
                                    "Провести тестовый файл EICAR через проверку и карантин"};
inline constexpr Text kSelftestExample{"Does the protection find, take and give back?",
                                       "Находит ли защита, забирает ли и возвращает ли?"};
inline constexpr Text kSelftestKeepHelp{"Leave the folder with the test file",
                                        "Оставить каталог с тестовым файлом"};
inline constexpr Text kSelftestNote{
    "The file is harmless and every protection program knows it; another one on this computer may take it "
    "first, which "
    "is said. It lies in a folder of its own in your temporary folder. Threats that the service has found "
    "before stay in "
    "quarantine, but its list of results becomes that of this test.",
    "Файл безвреден, и его знает любая программа защиты; если его первой заберёт другая, об этом будет "
    "сказано. Он лежит "
    "в отдельном каталоге во временной папке. Карантин не меняется, но список результатов службы станет "
    "списком этого "
    "теста."};
inline constexpr Text kStepWrite{"write the file", "записать файл"};
inline constexpr Text kStepScan{"find it", "найти его"};
inline constexpr Text kStepQuarantine{"take it into quarantine", "забрать в карантин"};
inline constexpr Text kStepList{"list it there", "показать его там"};
inline constexpr Text kStepRestore{"give it back unchanged", "вернуть без изменений"};
inline constexpr Text kStepDelete{"delete it for good", "удалить окончательно"};
inline constexpr Text kSelftestPassed{"The protection finds, takes and gives back.",
                                      "Защита находит, забирает и возвращает."};
inline constexpr Text kSelftestFailed{"The protection failed in this test.", "Защита этот тест не прошла."};
inline constexpr Text kSelftestNotDone{"not reached", "не дошло"};
inline constexpr Text kSelftestDone{"done", "сделано"};
inline constexpr Text kSelftestFound{"found as {0}", "найден как {0}"};
inline constexpr Text kSelftestTaken{"another protection program took it first (error {0})",
                                     "его первой забрала другая программа защиты (ошибка {0})"};
inline constexpr Text kSelftestTakenStep{"exclude this folder there for the time of the test: {0}",
                                         "на время теста исключите там этот каталог: {0}"};
inline constexpr Text kSelftestNotFound{"not found: {0} of {1} files were examined",
                                        "не найден: осмотрено файлов {0} из {1}"};
inline constexpr Text kSelftestNotFoundStep{"are signatures loaded? korvelctl status",
                                            "загружены ли сигнатуры? korvelctl status"};
inline constexpr Text kSelftestNotTaken{"the file is still there", "файл остался на месте"};
inline constexpr Text kSelftestNotListed{"the quarantine does not list it", "в карантине его нет"};
inline constexpr Text kSelftestAltered{"came back with other bytes", "вернулся с другим содержимым"};
inline constexpr Text kSelftestNotDeleted{"the stored file is still there", "файл в карантине остался"};
inline constexpr Text kSelftestBusy{"a scan is running; korvelctl wait waits for its end",
                                    "идёт проверка; дождаться её конца: korvelctl wait"};
inline constexpr Text kSelftestLeft{"left behind: {0}", "оставлено: {0}"};

}  // namespace korvel::ctl::words

// The words of doctor and selftest.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kDoctorHelp{"Examine the whole installation", "Обследовать всю установку"};
constexpr Text kDoctorExample{"One page, with a next step for each finding",
                              "Одна страница, для каждого замечания — что делать"};
constexpr Text kDoctorAdminExample{"For a script or a ticket", "Для сценария или обращения в поддержку"};
constexpr Text kDoctorNote{
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
constexpr Text kDoctorOfflineHelp{"Do not ask the update server", "Не опрашивать сервер обновлений"};

constexpr Text kStateOk{"ok", "норма"};
constexpr Text kStateWarning{"WARNING", "ВНИМАНИЕ"};
constexpr Text kStateFailure{"FAILURE", "ОШИБКА"};
constexpr Text kStateNotLookedAt{"not looked at", "не осмотрено"};
constexpr Text kDoctorColumnState{"STATE", "СОСТОЯНИЕ"};
constexpr Text kColumnCheck{"CHECK", "ЧТО"};
constexpr Text kColumnMessage{"FOUND", "НАЙДЕНО"};
constexpr Text kColumnNextStep{"NEXT STEP", "ЧТО ДЕЛАТЬ"};
constexpr Text kAllWell{"{0} checks: all well", "Проверено: {0}, всё в порядке"};
constexpr Text kSummary{"{0} checks: {1} ok, warnings: {2}, failures: {3}, not looked at: {4}",
                        "Проверок: {0}, в норме: {1}, предупреждений: {2}, ошибок: {3}, не осмотрено: {4}"};

// What was looked at
constexpr Text kTitleService{"service", "служба"};
constexpr Text kTitleRegistration{"registration", "регистрация службы"};
constexpr Text kTitlePipe{"pipe", "канал"};
constexpr Text kTitleProtection{"protection", "защита"};
constexpr Text kTitleDatabase{"signatures", "сигнатуры"};
constexpr Text kTitleDatabaseAge{"age of the signatures", "возраст сигнатур"};
constexpr Text kTitleUpdateServer{"update server", "сервер обновлений"};
constexpr Text kTitleSettings{"settings.ini", "settings.ini"};
constexpr Text kTitleQuarantine{"quarantine", "карантин"};
constexpr Text kTitleLog{"log", "журнал"};
constexpr Text kTitleHosts{"hosts file", "файл hosts"};
constexpr Text kTitleProgramRights{"rights: program", "права: программа"};
constexpr Text kTitleDataRights{"rights: data", "права: данные"};
constexpr Text kTitleQuarantineRights{"rights: quarantine", "права: карантин"};
constexpr Text kTitleClock{"clock", "часы"};

// Next steps that need an administrator
constexpr Text kRunInstall{"as an administrator: korvelctl service install",
                           "от имени администратора: korvelctl service install"};
constexpr Text kRunStart{"as an administrator: korvelctl service start",
                         "от имени администратора: korvelctl service start"};
constexpr Text kRunElevated{"run doctor as an administrator", "запустите doctor от имени администратора"};
constexpr Text kAfterService{"see the lines 'service' and 'pipe'", "см. строки «служба» и «канал»"};

// service
constexpr Text kServiceRuns{"runs, process {0}", "работает, процесс {0}"};
constexpr Text kServiceByHand{"not installed, but a program answers on the pipe (started with --console?)",
                              "не установлена, но на канале кто-то отвечает (запуск с --console?)"};
constexpr Text kServiceNotInstalled{"is not installed", "не установлена"};
constexpr Text kDoctorServiceStopped{"is stopped", "остановлена"};
constexpr Text kServiceFailed{"is stopped; its last start or run failed with code {0}",
                              "остановлена; последний запуск или работа закончились с кодом {0}"};
constexpr Text kServiceSeeLog{
    "korvelctl log tail -n 20 and korvelctl config lint, then: korvelctl service start",
    "korvelctl log tail -n 20 и korvelctl config lint, затем: korvelctl service start"};
constexpr Text kDoctorServiceStarting{"is starting", "запускается"};
constexpr Text kDoctorServiceStopping{"is stopping", "останавливается"};
constexpr Text kWaitAndLook{"wait a minute and look again", "подождите минуту и посмотрите снова"};
constexpr Text kServiceUnknownState{"is in state {0}", "в состоянии {0}"};
constexpr Text kCannotAsk{"could not be asked (error {0})", "не удалось узнать (ошибка {0})"};

// registration
constexpr Text kRegistrationGood{"automatic start, quoted path, restart after a crash",
                                 "автоматический запуск, путь в кавычках, перезапуск после сбоя"};
constexpr Text kRegistrationGoodPartly{
    "automatic start, quoted path; the restart after a crash is not told",
    "автоматический запуск, путь в кавычках; о перезапуске после сбоя ничего "
    "не известно"};
constexpr Text kFaultProgram{"another program is registered: {0}", "зарегистрирована другая программа: {0}"};
constexpr Text kFaultQuotes{"the path has blanks and no quotation marks, so another program could be started",
                            "путь с пробелами без кавычек: вместо службы может запуститься другая программа"};
constexpr Text kFaultStart{"does not start by itself", "не запускается автоматически"};
constexpr Text kFaultAccount{"runs as {0}, not as LocalSystem", "работает от имени {0}, а не LocalSystem"};
constexpr Text kFaultRecovery{"is not restarted after a crash", "не перезапускается после сбоя"};
constexpr Text kNothingRegistered{"nothing is registered", "регистрации нет"};

// pipe, protection, signatures
constexpr Text kPipeAnswers{"answers, version {0} ({1} ms)", "отвечает, версия {0} ({1} мс)"};
constexpr Text kServiceDoesNotAnswer{"the service does not answer", "служба не отвечает"};
constexpr Text kDoctorProtectionOn{"on, real-time on", "включена, в реальном времени тоже"};
constexpr Text kProtectionOnDriver{"on, real-time on, driver connected",
                                   "включена, в реальном времени тоже, драйвер подключён"};
constexpr Text kDoctorProtectionOff{"protection is off", "защита выключена"};
constexpr Text kProtectionOffStep{"korvelctl config set ProtectionEnabled=1",
                                  "korvelctl config set ProtectionEnabled=1"};
constexpr Text kRealTimeOff{"real-time protection is off", "защита в реальном времени выключена"};
constexpr Text kRealTimeOffStep{"korvelctl config set RealTimeEnabled=1, then: korvelctl service restart",
                                "korvelctl config set RealTimeEnabled=1, затем: korvelctl service restart"};
constexpr Text kDatabaseLoaded{"{0}, version {1}", "{0}, версия {1}"};
constexpr Text kDatabaseEmpty{"no signatures are loaded: nothing is protected",
                              "сигнатуры не загружены: защиты нет"};
constexpr Text kDatabaseEmptyStep{
    "korvelctl config get SignatureDb: the file must exist; then: korvelctl reload",
    "korvelctl config get SignatureDb: файл должен существовать; затем: korvelctl "
    "reload"};
constexpr Text kDoctorUpdatedAgo{"last live update {0} ago", "последнее обновление {0} назад"};
constexpr Text kUpdatedTooLongAgo{"last live update {0} ago; it should come every day",
                                  "последнее обновление {0} назад, а должно быть каждый день"};
constexpr Text kDoctorNeverUpdated{"never updated", "ещё не обновлялись"};
constexpr Text kUpdatesOff{"live updates are off", "обновления выключены"};
constexpr Text kUpdatesOffStep{"korvelctl config set LiveUpdates=1", "korvelctl config set LiveUpdates=1"};
constexpr Text kUpdateStep{"korvelctl update signatures", "korvelctl update signatures"};

// update server
constexpr Text kServerPublic{"none is configured: the public lists are used, and were not asked",
                             "не задан: берутся общедоступные списки, они не опрашивались"};
constexpr Text kDoctorServerUnknown{"the configured address could not be read",
                                    "заданный адрес прочитать не удалось"};
constexpr Text kServerNotAsked{"{0} was not asked", "{0} не опрашивался"};
constexpr Text kServerAnswers{"{0} answers this account ({1} ms)",
                              "{0} отвечает вашей учётной записи ({1} мс)"};
constexpr Text kServerStatus{"{0} answers with HTTP status {1}", "{0} отвечает кодом HTTP {1}"};
constexpr Text kServerStatusStep{"does the address lead to the folder above api/v1?",
                                 "ведёт ли адрес к каталогу, в котором лежит api/v1?"};
constexpr Text kServerUnreachable{"{0} could not be reached from this account (error {1})",
                                  "{0} недоступен для вашей учётной записи (ошибка {1})"};
constexpr Text kServerUnreachableStep{
    "look at the network, the proxy (netsh winhttp show proxy) and the address",
    "проверьте сеть, прокси (netsh winhttp show proxy) и адрес"};

// settings
constexpr Text kSettingsGood{"is read as it looks", "читается так, как написано"};
constexpr Text kDoctorSettingsMissing{"is missing; the service writes it at its next start",
                                      "отсутствует; служба запишет его при следующем запуске"};
constexpr Text kDoctorSettingsUnreadable{"cannot be read by you (error {0})", "вам недоступен (ошибка {0})"};
constexpr Text kSettingsBad{"keeps the service from starting (lines: {0})",
                            "не даёт службе запуститься (строк: {0})"};
constexpr Text kSettingsOdd{"is read otherwise than it looks (lines: {0})",
                            "читается не так, как выглядит (строк: {0})"};
constexpr Text kSettingsFixStep{"korvelctl config lint, then as an administrator: korvelctl config fix",
                                "korvelctl config lint, затем от имени администратора: korvelctl config fix"};

// quarantine, log, hosts
constexpr Text kQuarantineGood{"{0}, all files there", "{0}, все файлы на месте"};
constexpr Text kQuarantineUnseen{"{0}; the folder was not looked at", "{0}; каталог не осмотрен"};
constexpr Text kQuarantineMissing{"{0}, files missing: {1}", "{0}, без файла: {1}"};
constexpr Text kQuarantineMissingStep{"korvelctl quarantine delete --missing",
                                      "korvelctl quarantine delete --missing"};
constexpr Text kQuarantineDamaged{"the index is damaged; files without a record: {0}",
                                  "указатель повреждён; файлов без записи: {0}"};
constexpr Text kQuarantineOrphans{"{0}, files without a record: {1}", "{0}, файлов без записи: {1}"};
constexpr Text kQuarantineStep{"korvelctl quarantine verify", "korvelctl quarantine verify"};
constexpr Text kLogSize{"{0}", "{0}"};
constexpr Text kLogLarge{"{0}, and it grows for ever", "{0}, и он растёт без предела"};
constexpr Text kLogStep{"as an administrator: korvelctl log rotate",
                        "от имени администратора: korvelctl log rotate"};
constexpr Text kLogMissing{"is not there yet", "пока нет"};
constexpr Text kHostsGood{"the web shield's block has {0}", "блок веб-защиты: {0}"};
constexpr Text kHostsNoneHere{"no block of the web shield", "блока веб-защиты нет"};
constexpr Text kHostsNone{"no block of the web shield, which is off", "блока веб-защиты нет, она выключена"};
constexpr Text kHostsNoBlock{"the web shield is on, but its block is not there",
                             "веб-защита включена, но её блока нет"};
constexpr Text kHostsNoBlockStep{"it comes 30 s after the start of the service; see korvelctl log tail",
                                 "он появляется через 30 с после запуска службы; см. korvelctl log tail"};
constexpr Text kHostsLeftOver{"the web shield is off, but its block is still there",
                              "веб-защита выключена, но её блок остался"};
constexpr Text kHostsLeftOverStep{"restart the service: it removes the block",
                                  "перезапустите службу: она уберёт блок"};
constexpr Text kHostsUnclosed{"the block has no end: the next update removes every line below its beginning",
                              "у блока нет конца: следующее обновление удалит все строки после его начала"};
constexpr Text kHostsUnclosedStep{"write the line '# KORVEL WEB SHIELD END' where it should end",
                                  "впишите строку «# KORVEL WEB SHIELD END» туда, где он должен кончаться"};
constexpr Text kHostsLong{"{0}: looking up names becomes slow for all programs",
                          "{0}: поиск имён замедляется у всех программ"};
constexpr Text kHostsLongStep{"publish a shorter blocklist, or: korvelctl config set WebShield=0",
                              "сократите список доменов или: korvelctl config set WebShield=0"};

// rights
constexpr Text kRightsGood{"only administrators and the system may change {0}",
                           "менять {0} могут только администраторы и система"};
constexpr Text kRightsClosed{"only administrators and the system may open {0}",
                             "открывать {0} могут только администраторы и система"};
constexpr Text kRightsNoFolder{"{0} does not exist", "{0} не существует"};
constexpr Text kRightsNotLookedAt{"{0} is closed to you (error {1})", "{0} вам недоступен (ошибка {1})"};
constexpr Text kRightsNoList{"everyone may do everything in {0}", "в {0} все могут всё"};
constexpr Text kRightsMayChange{"{0} may be changed by: {1}", "{0} могут менять: {1}"};
constexpr Text kRightsMayLook{"{0} may be read by: {1}", "{0} могут читать: {1}"};
constexpr Text kRightsOwner{"{0} belongs to {1}, who can open it at any time",
                            "{0} принадлежит {1} — владелец может открыть его в любой момент"};

// clock
constexpr Text kClockGood{"agrees with the update server", "совпадают с сервером обновлений"};
constexpr Text kClockUnknown{"nothing to compare it with", "не с чем сравнить"};
constexpr Text kClockDiffers{"differs from the update server's by {0}",
                             "расходятся с сервером обновлений на {0}"};
constexpr Text kClockFuture{"the last update or scan lies in the future",
                            "последнее обновление или проверка — в будущем"};
constexpr Text kClockStep{"set the clock: w32tm /resync", "выставьте часы: w32tm /resync"};

// selftest
constexpr Text kSelftestHelp{"Send the EICAR test file through scan and quarantine",
                             "Провести тестовый файл EICAR через проверку и карантин"};
constexpr Text kSelftestExample{"Does the protection find, take and give back?",
                                "Находит ли защита, забирает ли и возвращает ли?"};
constexpr Text kSelftestKeepHelp{"Leave the folder with the test file", "Оставить каталог с тестовым файлом"};
constexpr Text kSelftestNote{
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
constexpr Text kStepWrite{"write the file", "записать файл"};
constexpr Text kStepScan{"find it", "найти его"};
constexpr Text kStepQuarantine{"take it into quarantine", "забрать в карантин"};
constexpr Text kStepList{"list it there", "показать его там"};
constexpr Text kStepRestore{"give it back unchanged", "вернуть без изменений"};
constexpr Text kStepDelete{"delete it for good", "удалить окончательно"};
constexpr Text kSelftestPassed{"The protection finds, takes and gives back.",
                               "Защита находит, забирает и возвращает."};
constexpr Text kSelftestFailed{"The protection failed in this test.", "Защита этот тест не прошла."};
constexpr Text kSelftestNotDone{"not reached", "не дошло"};
constexpr Text kSelftestDone{"done", "сделано"};
constexpr Text kSelftestFound{"found as {0}", "найден как {0}"};
constexpr Text kSelftestTaken{"another protection program took it first (error {0})",
                              "его первой забрала другая программа защиты (ошибка {0})"};
constexpr Text kSelftestTakenStep{"exclude this folder there for the time of the test: {0}",
                                  "на время теста исключите там этот каталог: {0}"};
constexpr Text kSelftestNotFound{"not found: {0} of {1} files were examined",
                                 "не найден: осмотрено файлов {0} из {1}"};
constexpr Text kSelftestNotFoundStep{"are signatures loaded? korvelctl status",
                                     "загружены ли сигнатуры? korvelctl status"};
constexpr Text kSelftestNotTaken{"the file is still there", "файл остался на месте"};
constexpr Text kSelftestNotListed{"the quarantine does not list it", "в карантине его нет"};
constexpr Text kSelftestAltered{"came back with other bytes", "вернулся с другим содержимым"};
constexpr Text kSelftestNotDeleted{"the stored file is still there", "файл в карантине остался"};
constexpr Text kSelftestBusy{"a scan is running; korvelctl wait waits for its end",
                             "идёт проверка; дождаться её конца: korvelctl wait"};
constexpr Text kSelftestLeft{"left behind: {0}", "оставлено: {0}"};

}  // namespace korvel::ctl::words

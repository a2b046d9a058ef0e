// The words of the commands that manage the service's registration and its rights.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kServiceHelp{"Manage the service in Windows", "Управлять службой в Windows"};
constexpr Text kServiceStateHelp{"Show how the service is registered and whether it runs",
                                 "Показать регистрацию службы и её состояние"};
constexpr Text kServiceStateExample{"Exit code 0 when it runs, otherwise 3",
                                    "Код выхода 0, если работает, иначе 3"};
constexpr Text kServiceStartHelp{"Start the service and wait until it runs",
                                 "Запустить службу и дождаться её работы"};
constexpr Text kServiceStartExample{"From an elevated prompt", "Из командной строки администратора"};
constexpr Text kServiceStopHelp{"Stop the service and wait for its end",
                                "Остановить службу и дождаться её конца"};
constexpr Text kServiceStopExample{"Before its files are replaced", "Перед заменой её файлов"};
constexpr Text kServiceStopNote{
    "A stop can take a minute and more, for example while the driver is asked. --kill ends the process of a "
    "service that "
    "has not stopped in that time; its restart after a crash is then switched off until the next 'service "
    "install'.",
    "Остановка может длиться минуту и дольше, например пока опрашивается драйвер. --kill завершает процесс "
    "службы, "
    "которая за это время не остановилась; её перезапуск после сбоя отключается до следующего «service "
    "install»."};
constexpr Text kServiceRestartHelp{"Stop the service and start it again", "Перезапустить службу"};
constexpr Text kServiceRestartExample{"After a change of a setting that acts at the next start",
                                      "После изменения параметра, действующего со следующего запуска"};
constexpr Text kServiceWaitHelp{"Seconds to wait", "Сколько секунд ждать"};
constexpr Text kKillHelp{"End the process of a service that does not stop",
                         "Завершить процесс службы, которая не останавливается"};
constexpr Text kInstallHelp{"Register the service and protect its folders, or repair both",
                            "Зарегистрировать службу и защитить её каталоги или исправить то и другое"};
constexpr Text kInstallExample{"With the KorvelService.exe beside korvelctl.exe",
                               "С KorvelService.exe, лежащим рядом с korvelctl.exe"};
constexpr Text kInstallPathExample{"With another one", "С другим файлом"};
constexpr Text kInstallNote{
    "The service starts with Windows, as LocalSystem, its path in quotation marks; after a crash it is "
    "restarted twice, a "
    "minute later each time. Only administrators and the system may change the program's folder and the data "
    "folder, and "
    "only they may open the quarantine; a file in the quarantine keeps the rights it came with, so that it "
    "can be used "
    "after a restore. Events get a source in the log 'Application'. Doing it again repairs what has changed. "
    "The service "
    "is not started.",
    "Служба запускается вместе с Windows от имени LocalSystem, путь к ней заключён в кавычки; после сбоя она "
    "дважды "
    "перезапускается через минуту. Менять каталог программы и каталог данных могут только администраторы и "
    "система, и "
    "только они могут открыть карантин; файл в карантине сохраняет свои права, чтобы им можно было "
    "пользоваться после "
    "возврата. Для событий создаётся источник в журнале «Приложение». Повторный вызов исправляет то, что "
    "изменилось. "
    "Служба не запускается."};
constexpr Text kInstallPathHelp{"The service's program (the one beside korvelctl.exe)",
                                "Программа службы (та, что лежит рядом с korvelctl.exe)"};
constexpr Text kServerHelp{"The update server to configure when none is",
                           "Сервер обновлений, если ни один не настроен"};
constexpr Text kAddToPathHelp{"Add the program's folder to PATH", "Добавить каталог программы в PATH"};
constexpr Text kPurgeHelp{"Delete settings, log and quarantine as well",
                          "Удалить также параметры, журнал и карантин"};
constexpr Text kNoRightsHelp{"Leave all access lists as they are", "Не менять права доступа"};
constexpr Text kUninstallHelp{"Stop the service, remove its registration and its rights",
                              "Остановить службу, удалить её регистрацию и права"};
constexpr Text kUninstallExample{"From a script, without a question", "Из сценария, без вопроса"};
constexpr Text kUninstallNote{
    "The block of the web shield in the hosts file, the firewall rules of the service and its entry in PATH "
    "go, "
    "too. Files, settings, log and quarantine stay, the latter three unless --purge is given. The program's "
    "folder and the data folder get the rights that their parent folders pass on; a quarantine that is not "
    "empty stays closed.",
    "Удаляются также блок веб-защиты в файле hosts, правила службы в брандмауэре и её запись в PATH. Файлы, "
    "параметры, журнал и карантин остаются, последние три — если не указан --purge. Каталоги программы и "
    "данных получают права своих родительских каталогов; непустой карантин остаётся закрытым."};

// State
constexpr Text kState{"State", "Состояние"};
constexpr Text kStateNotInstalled{"not installed", "не установлена"};
constexpr Text kStateStopped{"stopped", "остановлена"};
constexpr Text kStateStopFailed{"stopped, last ended with code {0}",
                                "остановлена, последний код завершения {0}"};
constexpr Text kStateStarting{"starting", "запускается"};
constexpr Text kStateStopping{"stopping", "останавливается"};
constexpr Text kStateRunning{"runs, process {0}", "работает, процесс {0}"};
constexpr Text kStateOther{"state {0}", "состояние {0}"};
constexpr Text kProgram{"Program", "Программа"};
constexpr Text kAccount{"Account", "Учётная запись"};
constexpr Text kStart{"Start", "Запуск"};
constexpr Text kStartAutomatic{"with Windows", "вместе с Windows"};
constexpr Text kStartDemand{"on demand", "по требованию"};
constexpr Text kStartDisabled{"disabled", "отключён"};
constexpr Text kStartOther{"type {0}", "тип {0}"};
constexpr Text kRecovery{"After a crash", "После сбоя"};
constexpr Text kRecoveryRestart{"restart after {0}", "перезапуск через {0}"};
constexpr Text kRecoveryReboot{"restart of the computer after {0}", "перезагрузка через {0}"};
constexpr Text kRecoveryCommand{"a command after {0}", "команда через {0}"};
constexpr Text kRecoveryNone{"nothing", "ничего"};
constexpr Text kRecoveryNotTold{"not told", "неизвестно"};
constexpr Text kStateFaultOtherProgram{"another program than the one beside korvelctl.exe",
                                       "не та программа, что лежит рядом с korvelctl.exe"};
constexpr Text kStateFaultNotQuoted{"no quotation marks around a path with blanks",
                                    "путь с пробелами без кавычек"};
constexpr Text kStateFaultNotAutomatic{"does not start with Windows", "не запускается вместе с Windows"};
constexpr Text kStateFaultOtherAccount{"not LocalSystem", "не LocalSystem"};
constexpr Text kStateFaultNoRecovery{"no restart after a crash", "нет перезапуска после сбоя"};
constexpr Text kFaults{"To repair", "Исправить"};
constexpr Text kRepairHint{"repair it as an administrator: korvelctl service install",
                           "исправляет от имени администратора: korvelctl service install"};

// Actions
constexpr Text kStopQuestionService{"Stop the protection service?", "Остановить службу защиты?"};
constexpr Text kUninstallQuestion{"Stop the protection service and remove its registration?",
                                  "Остановить службу защиты и удалить её регистрацию?"};
constexpr Text kPurgeQuestion{
    "Remove the protection service with its settings, its log and everything in the quarantine?",
    "Удалить службу защиты вместе с параметрами, журналом и всем содержимым карантина?"};
constexpr Text kStarted{"the service runs, process {0}", "служба работает, процесс {0}"};
constexpr Text kAlreadyRuns{"the service runs already, process {0}", "служба уже работает, процесс {0}"};
constexpr Text kStopped{"the service has stopped", "служба остановлена"};
constexpr Text kAlreadyStopped{"the service does not run", "служба не работает"};
constexpr Text kKilled{"the service did not stop within {0} s; its process has been ended",
                       "служба не остановилась за {0} с; её процесс завершён"};
constexpr Text kWaitingStart{"waiting until the service runs ({0} s)…", "ждём запуска службы ({0} с)…"};
constexpr Text kWaitingStop{"waiting until the service has stopped ({0} s)…",
                            "ждём остановки службы ({0} с)…"};
constexpr Text kWouldStartService{"would start the service", "служба была бы запущена"};
constexpr Text kWouldStopService{"would stop the service", "служба была бы остановлена"};
constexpr Text kWouldRestartService{"would restart the service", "служба была бы перезапущена"};
constexpr Text kClosedFolder{"closed, files and folders: {0}", "закрыт, файлов и каталогов: {0}"};
constexpr Text kWouldClose{"would be closed", "был бы закрыт"};
constexpr Text kReleased{"has the rights of its parent folder", "получил права родительского каталога"};
constexpr Text kWouldRelease{"would get the rights of its parent folder",
                             "получил бы права родительского каталога"};
constexpr Text kStaysClosed{"stays closed: it is not empty", "остаётся закрытым: он не пуст"};
constexpr Text kLeftAlone{"left as it is", "оставлен как есть"};
constexpr Text kProgramFolder{"Program folder", "Каталог программы"};
constexpr Text kDataFolder{"Data folder", "Каталог данных"};
constexpr Text kQuarantineFolder{"Quarantine", "Карантин"};
constexpr Text kServiceName{"Service", "Служба"};
constexpr Text kRegistered{"registered: {0}", "зарегистрирована: {0}"};
constexpr Text kRepaired{"registration renewed: {0}", "регистрация обновлена: {0}"};
constexpr Text kWouldRegister{"would be registered: {0}", "была бы зарегистрирована: {0}"};
constexpr Text kServicePartRemoved{"registration removed", "регистрация удалена"};
constexpr Text kWasNotInstalled{"was not installed", "не была установлена"};
constexpr Text kServiceWouldRemovePart{"registration would be removed", "регистрация была бы удалена"};
constexpr Text kEventSourceName{"Event log", "Журнал событий"};
constexpr Text kSourceRegistered{"source '{0}' registered", "источник «{0}» зарегистрирован"};
constexpr Text kSourceRemoved{"source '{0}' removed", "источник «{0}» удалён"};
constexpr Text kWouldRegisterSource{"source '{0}' would be registered",
                                    "источник «{0}» был бы зарегистрирован"};
constexpr Text kWouldRemoveSource{"source '{0}' would be removed", "источник «{0}» был бы удалён"};
constexpr Text kServiceUpdateServer{"Update server", "Сервер обновлений"};
constexpr Text kServerWritten{"{0} configured", "задан {0}"};
constexpr Text kServerWouldBeWritten{"{0} would be configured", "был бы задан {0}"};
constexpr Text kServerStays{"{0} stays", "остаётся {0}"};
constexpr Text kSearchPath{"PATH", "PATH"};
constexpr Text kPathGrown{"has the program folder now; new prompts know it",
                          "каталог программы добавлен, новые окна его увидят"};
constexpr Text kPathHasIt{"has the program folder already", "каталог программы там уже есть"};
constexpr Text kPathWouldGrow{"would get the program folder", "каталог программы был бы добавлен"};
constexpr Text kPathShrunk{"program folder removed", "каталог программы убран"};
constexpr Text kPathWouldShrink{"program folder would be removed", "каталог программы был бы убран"};
constexpr Text kFirewallRules{"Firewall rules", "Правила брандмауэра"};
constexpr Text kHostsBlock{"Block in the hosts file", "Блок в файле hosts"};
constexpr Text kAreRemoved{"removed", "удалены"};
constexpr Text kWouldBeRemoved{"would be removed", "были бы удалены"};
constexpr Text kBlockRemoved{"removed", "удалён"};
constexpr Text kBlockWouldGo{"would be removed", "был бы удалён"};
constexpr Text kFirewallNotAsked{"could not be looked at: {0}", "посмотреть не удалось: {0}"};
constexpr Text kScanCache{"Scan cache", "Кэш проверки"};
constexpr Text kDeleted{"deleted", "удалено"};
constexpr Text kServiceWouldDelete{"would be deleted", "было бы удалено"};
constexpr Text kForeignFiles{
    "Somebody who is no administrator had made these; look at them before the service starts:",
    "Созданы не администратором; посмотрите на них до запуска службы:"};
constexpr Text kAndMore{"and {0} more", "и ещё {0}"};
constexpr Text kStartHint{"Start it with: korvelctl service start", "Запуск: korvelctl service start"};

// Failures
constexpr Text kNeedsAdministrator{"this needs the rights of an administrator", "нужны права администратора"};
constexpr Text kElevateAdvice{"run it in a prompt that was opened with 'Run as administrator'",
                              "откройте командную строку через «Запуск от имени администратора»"};
constexpr Text kServiceIsNotInstalled{"the service is not installed", "служба не установлена"};
constexpr Text kInstallAdvice{"install it: korvelctl service install",
                              "установить: korvelctl service install"};
constexpr Text kManagerFailed{"the service manager refuses", "диспетчер служб отказывает"};
constexpr Text kServiceDisabled{"the service is disabled", "служба отключена"};
constexpr Text kServiceEnded{"the service ended right after its start (code {0})",
                             "служба завершилась сразу после запуска (код {0})"};
constexpr Text kServiceEndedAdvice{
    "the reason is in the log: korvelctl log tail; a damaged settings.ini shows in: "
    "korvelctl config lint",
    "причина в журнале: korvelctl log tail; испорченный settings.ini покажет: "
    "korvelctl config lint"};
constexpr Text kStartTimeout{"the service does not run after {0} s", "служба не заработала за {0} с"};
constexpr Text kStopTimeout{"the service has not stopped after {0} s", "служба не остановилась за {0} с"};
constexpr Text kStopTimeoutAdvice{"wait longer with --wait, or end its process with --kill",
                                  "подождите дольше с --wait или завершите процесс с --kill"};
constexpr Text kNoProgram{"there is no service program {0}", "нет программы службы {0}"};
constexpr Text kProgramNotSeen{
    "the service would not see {0}: it lies on a drive of your session or on the network",
    "служба не увидит {0}: это диск вашего сеанса или сеть"};
constexpr Text kProgramNotSeenAdvice{"copy the program to a local drive",
                                     "скопируйте программу на локальный диск"};
constexpr Text kSharedFolder{"the access list of {0} is not changed: it is no folder of the service alone",
                             "права {0} не изменяются: это не отдельный каталог службы"};
constexpr Text kSharedFolderAdvice{"put the program into a folder of its own, or use --no-rights",
                                   "поместите программу в отдельный каталог или укажите --no-rights"};
constexpr Text kRightsFailed{"its access list could not be set", "права доступа задать не удалось"};
constexpr Text kIsALink{"is a link or has a second name, and was left alone",
                        "ссылка или файл со вторым именем; не тронут"};
constexpr Text kIsALinkAdvice{"nothing of the service makes links there: delete it, then install again",
                              "служба ссылок там не создаёт: удалите и повторите установку"};
constexpr Text kSourceFailed{"the source could not be registered", "источник зарегистрировать не удалось"};
constexpr Text kNoServerAddress{"'{0}' is no address like https://updates.example.com",
                                "«{0}» — не адрес вида https://updates.example.com"};
constexpr Text kServerNeedsStop{"the service runs, and would write its own settings over the update server",
                                "служба работает и затёрла бы сервер обновлений своими параметрами"};
constexpr Text kServerNeedsStopAdvice{"stop it first: korvelctl service stop",
                                      "сначала остановите её: korvelctl service stop"};
constexpr Text kServerUnreadable{"settings.ini cannot be read; the update server was not written",
                                 "settings.ini не читается, сервер обновлений не записан"};
constexpr Text kServerUnreadableAdvice{"korvelctl config lint shows why",
                                       "причину покажет korvelctl config lint"};
constexpr Text kServerNotWritten{"the update server could not be written into settings.ini",
                                 "записать сервер обновлений в settings.ini не удалось"};
constexpr Text kPathFailed{"PATH could not be changed", "изменить PATH не удалось"};
constexpr Text kHostsFailed{"the block in the hosts file could not be removed: {0}",
                            "удалить блок из файла hosts не удалось: {0}"};
constexpr Text kNotDeleted{"could not be deleted", "удалить не удалось"};
constexpr Text kUnknownDataFolder{"the system does not know the folder ProgramData",
                                  "система не знает каталога ProgramData"};

}  // namespace korvel::ctl::words

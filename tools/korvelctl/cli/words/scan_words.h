// The words of scan, wait, cancel and progress.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kScanHelp{"Scan and wait for the result", "Проверить и дождаться результата"};
constexpr Text kScanTargets{
    "quick, full, user (your own Downloads, Desktop, Documents, temporary and start-up folder), or folders",
    "quick, full, user (ваши Загрузки, Рабочий стол, Документы, временная папка и автозагрузка) или папки"};
constexpr Text kFromHelp{"Read folders from FILE, one per line; - is the standard input",
                         "Взять папки из файла, по одной в строке; - это стандартный ввод"};
constexpr Text kDetachHelp{"Start only; 'korvelctl wait' follows it",
                           "Только запустить; дождаться можно командой korvelctl wait"};
constexpr Text kActionHelp{"What to do with every result at the end (report)",
                           "Что сделать с каждым найденным файлом в конце (report)"};
constexpr Text kReportHelp{"Write a report: .html, .json, .csv or .txt",
                           "Записать отчёт: .html, .json, .csv или .txt"};
constexpr Text kMaxTimeHelp{"Cancel the scan after MIN minutes", "Отменить проверку через MIN минут"};
constexpr Text kGentleHelp{
    "Ask rarely, without progress, and leave the pipe to others; the scan is no slower",
    "Спрашивать редко, без хода выполнения, не занимая канал; проверка не медленнее"};
constexpr Text kProgressStyleHelp{"How to show progress on the error output (auto)",
                                  "Как показывать ход выполнения в поток ошибок (auto)"};
constexpr Text kScanNoteExtensions{
    "Scanned are files with one of these extensions: apk, bat, chm, class, cmd, com, cpl, dll, drv, dylib, "
    "elf, exe, hta, img, iso, jar, "
    "jse, lnk, msi, msp, mst, ocx, php, pif, ps1, reg, scr, swf, sys, vbe, vbs, vhd, vhdx, wsf, wsh. For "
    "other files there is: korvelctl check FILE",
    "Проверяются файлы с расширениями: apk, bat, chm, class, cmd, com, cpl, dll, drv, dylib, elf, exe, hta, "
    "img, iso, jar, "
    "jse, lnk, msi, msp, mst, ocx, php, pif, ps1, reg, scr, swf, sys, vbe, vbs, vhd, vhdx, wsf, wsh. Для "
    "остальных файлов есть: korvelctl check ФАЙЛ"};
constexpr Text kScanNoteRecursive{
    "Folders are scanned with everything below them; the service offers no other way. The folders must exist "
    "where the service looks: it runs under its own account.",
    "Папки проверяются со всем содержимым, иначе служба не умеет. Папки должны быть доступны самой службе: "
    "она работает под своей учётной записью."};
constexpr Text kScanNoteDryRun{
    "With --dry-run nothing is scanned; together with --action it scans and decides nothing.",
    "С --dry-run проверка не запускается; вместе с --action она идёт, но решений не принимает."};
constexpr Text kScanExampleQuick{"Where malware usually settles", "Где обычно селится вредоносное"};
constexpr Text kScanExampleFolder{"One folder, with a report to read", "Одна папка, с отчётом для чтения"};
constexpr Text kScanExampleAction{"The user's folders; what is at least high goes into quarantine",
                                  "Папки пользователя; уровень от высокого отправить в карантин"};
constexpr Text kWaitHelp{"Follow the scan that runs, to its end", "Дождаться конца идущей проверки"};
constexpr Text kWaitNote{"When none runs, the result of the last one is shown.",
                         "Если проверка не идёт, выводится результат последней."};
constexpr Text kWaitExample{"Pick up a scan that was started with --detach",
                            "Подхватить проверку, запущенную с --detach"};
constexpr Text kCancelHelp{"End the running scan", "Прервать идущую проверку"};
constexpr Text kCancelExample{"End the running scan", "Прервать идущую проверку"};
constexpr Text kProgressHelp{"Show once how far the scan is", "Показать один раз, сколько проверено"};
constexpr Text kProgressExample{"How far the scan is", "Сколько уже проверено"};

constexpr Text kNotAPath{"not a path: {0}", "это не путь: {0}"};
constexpr Text kTargetMissing{"cannot scan {0}: it does not exist or cannot be read",
                              "{0} проверить нельзя: папки нет или она недоступна"};
constexpr Text kTargetIsFile{"cannot scan {0}: it is a file, only folders can be scanned",
                             "{0} проверить нельзя: это файл, а проверяются только папки"};
constexpr Text kTargetIsFileAdvice{"look at one file with: korvelctl check {0}",
                                   "посмотреть один файл: korvelctl check {0}"};
constexpr Text kTargetHidden{
    "cannot scan {0}: the service does not see this drive, which belongs to your session",
    "{0} проверить нельзя: служба не видит этот диск, он подключён только в вашем сеансе"};
constexpr Text kTargetShare{"{0} is a network share: the service's account may not reach it",
                            "{0} находится в сети: учётная запись службы может её не видеть"};
constexpr Text kScopeAlone{"quick, full and user stand alone (a folder of that name is .\\{0})",
                           "quick, full и user указываются отдельно (папка с таким именем: .\\{0})"};
constexpr Text kNoTargets{"TARGET is missing", "не указано: TARGET"};
constexpr Text kNoUserFolders{"none of the user's folders exists", "ни одной папки пользователя нет"};
constexpr Text kFromUnreadable{"the list of folders cannot be read: {0}", "список папок не читается: {0}"};
constexpr Text kReportForm{"a report's name ends in .html, .json, .csv or .txt: {0}",
                           "имя отчёта оканчивается на .html, .json, .csv или .txt: {0}"};
constexpr Text kReportFailed{"the report cannot be written", "отчёт не записан"};
constexpr Text kReportWritten{"report: {0}", "отчёт: {0}"};
constexpr Text kTargetsLine{"Folders: {0}", "Папки: {0}"};
constexpr Text kWouldScan{"would scan: {0}", "было бы проверено: {0}"};
constexpr Text kScanStarted{"the scan has started; follow it with: korvelctl wait",
                            "проверка запущена; дождаться её: korvelctl wait"};
constexpr Text kNoScanRuns{"no scan is running", "проверка не идёт"};
constexpr Text kNoScanEver{"no scan is running, and none has run since the service started",
                           "проверка не идёт, и с запуска службы ни одной не было"};
constexpr Text kCancelAsked{"the scan is being cancelled", "проверка отменяется"};
constexpr Text kWouldCancel{"would cancel the running scan", "идущая проверка была бы отменена"};
constexpr Text kNothingToCancel{"no scan is running, nothing to cancel", "проверка не идёт, отменять нечего"};
constexpr Text kScanGoesOn{
    "the service cannot be asked at the moment; the scan goes on, pick it up with: korvelctl wait",
    "службу сейчас не спросить; проверка продолжается, дождаться её: korvelctl wait"};
constexpr Text kServiceEndedMeanwhile{"the service has ended during the scan",
                                      "служба остановилась во время проверки"};
constexpr Text kCancelling{"cancelling, once more Ctrl+C leaves at once",
                           "отменяем; ещё раз Ctrl+C завершит сразу"};
constexpr Text kAskBeforeDelete{"--action delete asks at the end; without a terminal it needs --yes",
                                "--action delete спросит в конце; без терминала укажите --yes"};

// Progress
constexpr Text kCounting{"counting files", "считаем файлы"};
constexpr Text kPreparing{"preparing", "подготовка"};
constexpr Text kFinishing{"finishing", "завершаем"};
constexpr Text kScanning{"scanning", "проверяем"};
constexpr Text kFilesOf{"{0}/{1} files", "{0}/{1} файлов"};
constexpr Text kLeft{"{0} left", "ост. {0}"};

}  // namespace korvel::ctl::words

// The words of a scan's report.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

// How the scan ended. None of them says that there is nothing, unless everything was examined.
constexpr Text kScanCompleted{"Scan completed", "Сканирование завершено"};
constexpr Text kScanCancelled{"Scan cancelled", "Сканирование отменено"};
constexpr Text kScanStopped{"Scan stopped early", "Сканирование прервано"};
constexpr Text kScanFailed{"The service could not scan", "Служба не смогла выполнить сканирование"};
constexpr Text kScanNothing{"Nothing was examined", "Ни один файл не проверен"};
constexpr Text kScanLost{"The result of the scan is lost", "Результат сканирования потерян"};

constexpr Text kScanCancelledWhy{"This client cancelled it. What was not examined may hold threats.",
                                 "Его отменил этот клиент. В непроверенных файлах могут быть угрозы."};
constexpr Text kScanStoppedWhy{
    "Somebody else cancelled it, or the folders changed meanwhile. What was not examined may hold threats.",
    "Его отменил кто-то другой, или папки изменились. В непроверенных файлах могут быть угрозы."};
constexpr Text kScanFailedWhy{"Usually no signature database is loaded: korvelctl status",
                              "Обычно причина в том, что база сигнатур не загружена: korvelctl status"};
constexpr Text kScanNothingWhy{
    "The folders hold no file of a scanned kind; 'korvelctl help scan' lists the extensions.",
    "В папках нет файлов проверяемых типов; список расширений: korvelctl help scan"};
constexpr Text kScanLostWhy{"Another scan has taken its place, or the service has ended. Scan again.",
                            "Его место занял другой запуск, или служба завершилась. Повторите сканирование."};

constexpr Text kNoThreats{"No threats found", "Угроз не найдено"};
constexpr Plural kThreatsFound{{"threat found", "threats found"},
                               {"угроза найдена", "угрозы найдены", "угроз найдено"}};
constexpr Plural kFiles{{"file", "files"}, {"файл", "файла", "файлов"}};
constexpr Plural kSignaturesNoun{{"signature", "signatures"}, {"сигнатура", "сигнатуры", "сигнатур"}};
constexpr Plural kEventsNoun{{"event", "events"}, {"событие", "события", "событий"}};

// The summary
constexpr Text kSummaryTook{"{0} in {1}: {2}, {3} ({4})", "{0} за {1}: {2}, {3} ({4})"};
constexpr Text kSummaryTookNoSpeed{"{0} in {1}: {2}, {3}", "{0} за {1}: {2}, {3}"};
constexpr Text kSummaryOf{"{0} of {1}", "{0} из {1}"};
constexpr Text kSummaryDatabase{"Database: {0}, {1}", "База: {0}, {1}"};
constexpr Text kSummaryNoDatabase{"Database: none loaded", "База: не загружена"};
constexpr Text kSummaryThreats{"Threats: {0} (critical {1}, high {2}); suspicious: {3}",
                               "Угроз: {0} (критических {1}, высоких {2}); подозрительных: {3}"};
constexpr Text kSummaryStored{"Files of the quarantine itself, not counted: {0}",
                              "Файлы самого карантина, не в счёт: {0}"};
constexpr Text kSummaryEvents{"Real-time events meanwhile: {0}",
                              "События в реальном времени за это время: {0}"};
constexpr Text kSummaryErrors{"Errors: {0}", "Ошибок: {0}"};

// Lists
constexpr Text kColumnNumber{"#", "№"};
constexpr Text kColumnSeverity{"severity", "уровень"};
constexpr Text kColumnThreat{"threat", "угроза"};
constexpr Text kColumnState{"state", "состояние"};
constexpr Text kColumnFile{"file", "файл"};
constexpr Text kColumnFiles{"files", "файлов"};
constexpr Text kColumnRule{"rule", "правило"};
constexpr Text kColumnSeen{"seen", "время"};
constexpr Text kSuspiciousByRule{"Suspicious files by rule; --all lists each of them:",
                                 "Подозрительные файлы по правилам; --all перечислит каждый:"};
constexpr Text kRealTimeEvents{"Real-time events:", "События в реальном времени:"};
constexpr Text kStatePresent{"present", "на месте"};
constexpr Text kStateQuarantined{"quarantined", "в карантине"};
constexpr Text kStateDeleted{"deleted", "удалён"};
constexpr Text kStateMissing{"missing", "отсутствует"};
constexpr Text kStateStored{"in the quarantine folder", "файл карантина"};
constexpr Text kActionFailed{"{0} failed: {1}", "{0} не удалось: {1}"};
constexpr Text kActionQuarantine{"quarantining", "поместить в карантин"};
constexpr Text kActionDelete{"deleting", "удалить"};

// The page
constexpr Text kReportTitle{"Scan report", "Отчёт о сканировании"};
constexpr Text kFactStarted{"Started", "Начало"};
constexpr Text kFactDuration{"Duration", "Длительность"};
constexpr Text kFactFiles{"Files examined", "Проверено файлов"};
constexpr Text kFactSize{"Data", "Объём"};
constexpr Text kFactSpeed{"Speed", "Скорость"};
constexpr Text kFactComputer{"Computer", "Компьютер"};
constexpr Text kFactScope{"Scope", "Область"};
constexpr Text kFactDatabase{"Signature database", "База сигнатур"};
constexpr Text kFactSignatures{"Signatures", "Сигнатур"};
constexpr Text kFactDatabaseAge{"Last live update", "Последнее обновление"};
constexpr Text kScopeQuick{"quick", "быстрое"};
constexpr Text kScopeFull{"full", "полное"};
constexpr Text kScopeUser{"the user's folders", "папки пользователя"};
constexpr Text kScopeCustom{"chosen folders", "выбранные папки"};
constexpr Text kTargets{"Folders", "Папки"};
constexpr Text kHeadThreats{"Threats", "Угрозы"};
constexpr Text kHeadSuspicious{"Suspicious files", "Подозрительные файлы"};
constexpr Text kHeadOther{"Other listed files", "Прочие файлы"};
constexpr Text kHeadStored{"Files of the quarantine itself", "Файлы самого карантина"};
constexpr Text kHeadEvents{"Real-time events", "События в реальном времени"};
constexpr Text kHeadErrors{"Errors", "Ошибки"};
constexpr Text kSuspiciousNote{
    "Most ordinary programs carry a finding of medium severity. Look here after the threats.",
    "Замечание среднего уровня есть у большинства обычных программ. Смотрите сюда после угроз."};
constexpr Text kStoredNote{
    "They were found where the quarantine keeps them. They are not counted and cannot be decided on.",
    "Они лежат там, где их хранит карантин, не входят в счёт, и решений по ним не принимают."};
constexpr Text kBySeverity{"Listed files by severity", "Файлы по уровням"};
constexpr Text kNoneOfThem{"none", "нет"};
constexpr Text kSize{"Size", "Размер"};
constexpr Text kDecision{"Decision", "Решение"};
constexpr Text kDecisionReport{"left in place", "оставить"};
constexpr Text kDecisionOk{"{0}: done", "{0}: выполнено"};
constexpr Text kDecisionDryRun{"{0}: not done, this was a trial run",
                               "{0}: не выполнено, это был пробный запуск"};
constexpr Text kFooterMade{"Made by {0}; service {1}.", "Составлено: {0}; служба {1}."};
constexpr Text kFooterService{"unknown", "неизвестна"};
constexpr Text kFooterCommand{"Command:", "Команда:"};
constexpr Text kFooterTimes{"Times are those of the computer's clock on the wall.",
                            "Время местное, по часам компьютера."};
constexpr Text kFooterTimesUtc{"Times are in UTC.", "Время указано в UTC."};

}  // namespace korvel::ctl::words

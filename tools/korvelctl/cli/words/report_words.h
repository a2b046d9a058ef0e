// The words of a scan's report.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

// How the scan ended. None of them says that there is nothing, unless everything was examined.
inline constexpr Text kScanCompleted{"Scan completed", "Сканирование завершено"};
inline constexpr Text kScanCancelled{"Scan cancelled", "Сканирование отменено"};
inline constexpr Text kScanStopped{"Scan stopped early", "Сканирование прервано"};
inline constexpr Text kScanFailed{"The service could not scan", "Служба не смогла выполнить сканирование"};
inline constexpr Text kScanNothing{"Nothing was examined", "Ни один файл не проверен"};
inline constexpr Text kScanLost{"The result of the scan is lost", "Результат сканирования потерян"};

inline constexpr Text kScanCancelledWhy{"This client cancelled it. What was not examined may hold threats.",
                                        "Его отменил этот клиент. В непроверенных файлах могут быть угрозы."};
inline constexpr Text kScanStoppedWhy{
    "Somebody else cancelled it, or the folders changed meanwhile. What was not examined may hold threats.",
    "Его отменил кто-то другой, или папки изменились. В непроверенных файлах могут быть угрозы."};
inline constexpr Text kScanFailedWhy{
    "Usually no signature database is loaded: korvelctl status",
    "Обычно причина в том, что база сигнатур не загружена: korvelctl status"};
inline constexpr Text kScanNothingWhy{
    "The folders hold no file of a scanned kind; 'korvelctl help scan' lists the extensions.",
    "В папках нет файлов проверяемых типов; список расширений: korvelctl help scan"};
inline constexpr Text kScanLostWhy{
    "Another scan has taken its place, or the service has ended. Scan again.",
    "Его место занял другой запуск, или служба завершилась. Повторите сканирование."};

inline constexpr Text kNoThreats{"No threats found", "Угроз не найдено"};
inline constexpr Plural kThreatsFound{{"threat found", "threats found"},
                                      {"угроза найдена", "угрозы найдены", "угроз найдено"}};
inline constexpr Plural kFiles{{"file", "files"}, {"файл", "файла", "файлов"}};
inline constexpr Plural kSignaturesNoun{{"signature", "signatures"}, {"сигнатура", "сигнатуры", "сигнатур"}};
inline constexpr Plural kEventsNoun{{"event", "events"}, {"событие", "события", "событий"}};

// The summary
inline constexpr Text kSummaryTook{"{0} in {1}: {2}, {3} ({4})", "{0} за {1}: {2}, {3} ({4})"};
inline constexpr Text kSummaryTookNoSpeed{"{0} in {1}: {2}, {3}", "{0} за {1}: {2}, {3}"};
inline constexpr Text kSummaryOf{"{0} of {1}", "{0} из {1}"};
inline constexpr Text kSummaryDatabase{"Database: {0}, {1}", "База: {0}, {1}"};
inline constexpr Text kSummaryNoDatabase{"Database: none loaded", "База: не загружена"};
inline constexpr Text kSummaryThreats{"Threats: {0} (critical {1}, high {2}); suspicious: {3}",
                                      "Угроз: {0} (критических {1}, высоких {2}); подозрительных: {3}"};
inline constexpr Text kSummaryStored{"Files of the quarantine itself, not counted: {0}",
                                     "Файлы самого карантина, не в счёт: {0}"};
inline constexpr Text kSummaryEvents{"Real-time events meanwhile: {0}",
                                     "События в реальном времени за это время: {0}"};
inline constexpr Text kSummaryErrors{"Errors: {0}", "Ошибок: {0}"};

// Lists
inline constexpr Text kColumnNumber{"#", "№"};
inline constexpr Text kColumnSeverity{"severity", "уровень"};
inline constexpr Text kColumnThreat{"threat", "угроза"};
inline constexpr Text kColumnState{"state", "состояние"};
inline constexpr Text kColumnFile{"file", "файл"};
inline constexpr Text kColumnFiles{"files", "файлов"};
inline constexpr Text kColumnRule{"rule", "правило"};
inline constexpr Text kColumnSeen{"seen", "время"};
inline constexpr Text kSuspiciousByRule{"Suspicious files by rule; --all lists each of them:",
                                        "Подозрительные файлы по правилам; --all перечислит каждый:"};
inline constexpr Text kRealTimeEvents{"Real-time events:", "События в реальном времени:"};
inline constexpr Text kStatePresent{"present", "на месте"};
inline constexpr Text kStateQuarantined{"quarantined", "в карантине"};
inline constexpr Text kStateDeleted{"deleted", "удалён"};
inline constexpr Text kStateMissing{"missing", "отсутствует"};
inline constexpr Text kStateStored{"in the quarantine folder", "файл карантина"};
inline constexpr Text kActionFailed{"{0} failed: {1}", "{0} не удалось: {1}"};
inline constexpr Text kActionQuarantine{"quarantining", "поместить в карантин"};
inline constexpr Text kActionDelete{"deleting", "удалить"};

// The page
inline constexpr Text kReportTitle{"Scan report", "Отчёт о сканировании"};
inline constexpr Text kFactStarted{"Started", "Начало"};
inline constexpr Text kFactDuration{"Duration", "Длительность"};
inline constexpr Text kFactFiles{"Files examined", "Проверено файлов"};
inline constexpr Text kFactSize{"Data", "Объём"};
inline constexpr Text kFactSpeed{"Speed", "Скорость"};
inline constexpr Text kFactComputer{"Computer", "Компьютер"};
inline constexpr Text kFactScope{"Scope", "Область"};
inline constexpr Text kFactDatabase{"Signature database", "База сигнатур"};
inline constexpr Text kFactDatabaseAge{"Last live update", "Последнее обновление"};
inline constexpr Text kScopeQuick{"quick", "быстрое"};
inline constexpr Text kScopeFull{"full", "полное"};
inline constexpr Text kScopeUser{"the user's folders", "папки пользователя"};
inline constexpr Text kScopeCustom{"chosen folders", "выбранные папки"};
inline constexpr Text kTargets{"Folders", "Папки"};
inline constexpr Text kHeadThreats{"Threats", "Угрозы"};
inline constexpr Text kHeadSuspicious{"Suspicious files", "Подозрительные файлы"};
inline constexpr Text kHeadOther{"Other listed files", "Прочие файлы"};
inline constexpr Text kHeadStored{"Files of the quarantine itself", "Файлы самого карантина"};
inline constexpr Text kHeadEvents{"Real-time events", "События в реальном времени"};
inline constexpr Text kHeadErrors{"Errors", "Ошибки"};
inline constexpr Text kSuspiciousNote{
    "Most ordinary programs carry a finding of medium severity. Look here after the threats.",
    "Замечание среднего уровня есть у большинства обычных программ. Смотрите сюда после угроз."};
inline constexpr Text kStoredNote{
    "They were found where the quarantine keeps them. They are not counted and cannot be decided on.",
    "Они лежат там, где их хранит карантин, не входят в счёт, и решений по ним не принимают."};
inline constexpr Text kBySeverity{"Listed files by severity", "Файлы по уровням"};
inline constexpr Text kNoneOfThem{"none", "нет"};
inline constexpr Text kSize{"Size", "Размер"};
inline constexpr Text kDecision{"Decision", "Решение"};
inline constexpr Text kDecisionReport{"left in place", "оставить"};
inline constexpr Text kDecisionOk{"{0}: done", "{0}: выполнено"};
inline constexpr Text kFooterMade{"Made by {0}; service {1}.", "Составлено: {0}; служба {1}."};
inline constexpr Text kFooterService{"unknown", "неизвестна"};
inline constexpr Text kFooterCommand{"Command:", "Команда:"};
inline constexpr Text kFooterTimes{"Times are those of the computer's clock on the wall.",
                                   "Время местное, по часам компьютера."};
inline constexpr Text kFooterTimesUtc{"Times are in UTC.", "Время указано в UTC."};

}  // namespace korvel::ctl::words

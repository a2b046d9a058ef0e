// The words of threats, and of decisions on detected files.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kThreatsHelp{"List what the last scan found, or act on it",
                            "Показать, что нашла последняя проверка, или принять решение"};
constexpr Text kThreatsListHelp{"List what the last scan found", "Показать, что нашла последняя проверка"};
constexpr Text kThreatsQuarantineHelp{"Move files into quarantine", "Переместить файлы в карантин"};
constexpr Text kThreatsDeleteHelp{"Delete files for good", "Удалить файлы безвозвратно"};
constexpr Text kThreatNumbers{"Numbers in the list of threats", "Номера в списке угроз"};
constexpr Text kThreatsAllHelp{"All of at least --min-severity, instead of numbers",
                               "Все с уровнем не ниже --min-severity вместо номеров"};
constexpr Text kMinSeverityHelp{"With --all or --action: from which severity on (high)",
                                "Для --all и --action: начиная с какого уровня (high)"};
constexpr Text kShowAllHelp{"List each suspicious file too, instead of groups; JSON always does",
                            "Показать и каждый подозрительный файл, а не группы; в JSON всегда так"};
constexpr Text kFailOnHelp{"Exit code 1 from which severity on (high)",
                           "Код выхода 1 начиная с какого уровня (high)"};
constexpr Text kForceWindowsHelp{"Also files below the Windows folder", "И файлы внутри папки Windows"};
constexpr Text kThreatsListExample{"What the last scan found", "Что нашла последняя проверка"};
constexpr Text kThreatsListAllExample{"Each suspicious file too, not only groups",
                                      "И каждый подозрительный файл, а не только группы"};
constexpr Text kThreatsQuarantineExample{"Number 1 and 3 of the list", "Номера 1 и 3 из списка"};
constexpr Text kThreatsQuarantineAllExample{"Everything critical, without a question",
                                            "Всё критическое, без вопроса"};
constexpr Text kThreatsDeleteExample{"See what would be deleted, and delete nothing",
                                     "Посмотреть, что было бы удалено, и ничего не удалять"};
constexpr Text kThreatsNote{
    "Some programs of Windows itself are flagged by rule: explorer.exe, notepad.exe and regedit.exe in the "
    "Windows folder (FS.IMPERSONATE). Files below it are only touched with --force, files in the quarantine "
    "never.",
    "Некоторые программы самой Windows попадают под правило: explorer.exe, notepad.exe и regedit.exe в папке "
    "Windows (FS.IMPERSONATE). Файлы внутри неё меняются только с --force, файлы карантина не меняются "
    "никогда."};

constexpr Text kListedNothing{"the last scan listed nothing", "последняя проверка ничего не нашла"};
constexpr Text kListedNothingSince{"the last scan ({0}) listed nothing",
                                   "последняя проверка ({0}) ничего не нашла"};
constexpr Text kNoScanSinceStart{"no scan has run since the service started",
                                 "с запуска службы проверок не было"};
constexpr Text kScanStillRuns{"a scan is running: the list is not complete yet",
                              "идёт проверка: список ещё не полон"};
constexpr Text kListTotals{"Listed: {0} (critical {1}, high {2}, medium {3})",
                           "В списке: {0} (критических {1}, высоких {2}, средних {3})"};
constexpr Text kEventSeen{"detected meanwhile: {0} {1}: {2}", "обнаружено за это время: {0} {1}: {2}"};

constexpr Text kNumbersOrAll{"give numbers of the list, or --all, not both",
                             "укажите номера из списка или --all, но не вместе"};
constexpr Text kNotANumberOfAList{"not a number of the list: {0}", "это не номер из списка: {0}"};
constexpr Text kNoSuchThreat{"there is no threat number {0}, the list has {1}",
                             "угрозы номер {0} нет, в списке их {1}"};
constexpr Text kGuardQuarantine{"the file lies in the quarantine and stays as it is",
                                "файл лежит в карантине и остаётся как есть"};
constexpr Text kGuardWindows{"the file lies below the Windows folder; --force acts on it all the same",
                             "файл лежит внутри папки Windows; изменить его всё же можно с --force"};
constexpr Text kDeleteQuestion{"Delete {0} for good?", "Удалить безвозвратно: {0}?"};
constexpr Text kQuarantineQuestion{"Move {0} into quarantine?", "Переместить в карантин: {0}?"};
constexpr Text kDidQuarantine{"quarantined: {0}", "в карантине: {0}"};
constexpr Text kDidDelete{"deleted: {0}", "удалено: {0}"};
constexpr Text kWouldQuarantine{"would quarantine: {0}", "было бы в карантине: {0}"};
constexpr Text kWouldDelete{"would delete: {0}", "было бы удалено: {0}"};
constexpr Text kNothingToDo{"nothing in the list is meant by that", "в списке нет ничего подходящего"};
constexpr Text kStillThere{"the service reports success, but the file is still there",
                           "служба сообщила об успехе, но файл на месте"};

}  // namespace korvel::ctl::words

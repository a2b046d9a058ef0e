// The words of update.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kUpdateHelp{"Update now instead of at the next automatic run",
                           "Обновить сейчас, не дожидаясь очередного раза"};
constexpr Text kUpdateSignaturesHelp{"Download the live signatures and load them",
                                     "Скачать живые сигнатуры и загрузить их"};
constexpr Text kUpdateProgramHelp{"Look for another version and save its installer",
                                  "Проверить новую версию и сохранить её установщик"};
constexpr Text kNoWaitHelp{"Start it and do not wait for its end", "Запустить и не ждать окончания"};
constexpr Text kUpdateSignaturesExample{"Update the signatures and wait for the result",
                                        "Обновить сигнатуры и дождаться результата"};
constexpr Text kUpdateProgramExample{"Look for a new version of the product",
                                     "Проверить новую версию программы"};
constexpr Text kUpdateStarted{"started", "запущено"};
constexpr Text kWouldUpdate{"would start it", "было бы запущено"};
constexpr Text kUpdated{"signatures updated: {0}", "сигнатуры обновлены: {0}"};
constexpr Text kLiveUpdateFailed{"the live update failed and the signatures stay as they were",
                                 "обновление не удалось, сигнатуры остались прежними"};
constexpr Text kServiceKeepsReason{"the service keeps the reason to itself; {0}",
                                   "причину служба не сообщает; {0}"};
constexpr Text kServerNotReadable{"its update server is not known to this user either",
                                  "её сервер обновлений этому пользователю тоже неизвестен"};
constexpr Text kPublicLists{"no update server is set, so it asks the public lists",
                            "сервер обновлений не задан, служба обращается к открытым спискам"};
constexpr Text kServerSilent{"asked from this account, {0} gives no answer (win32={1})",
                             "из этой учётной записи {0} не отвечает (win32={1})"};
constexpr Text kServerRefuses{"asked from this account, {0} answers with HTTP status {1}",
                              "из этой учётной записи {0} отвечает состоянием HTTP {1}"};
constexpr Text kServerFine{"asked from this account, {0} answers well (HTTP {1})",
                           "из этой учётной записи {0} отвечает как надо (HTTP {1})"};
constexpr Text kCheckOfProgramFailed{"the update check failed: {0}", "проверка обновлений не удалась: {0}"};
constexpr Text kUpToDate{"up to date: version {0}", "версия {0} актуальна"};

}  // namespace korvel::ctl::words

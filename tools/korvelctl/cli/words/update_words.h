// The words of update.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

inline constexpr Text kUpdateHelp{"Update now instead of at the next automatic run",
                                  "Обновить сейчас, не дожидаясь очередного раза"};
inline constexpr Text kUpdateSignaturesHelp{"Download the live signatures and load them",
                                            "Скачать живые сигнатуры и загрузить их"};
inline constexpr Text kUpdateProgramHelp{"Look for another version and save its installer",
                                         "Проверить новую версию и сохранить её установщик"};
inline constexpr Text kNoWaitHelp{"Start it and do not wait for its end", "Запустить и не ждать окончания"};
inline constexpr Text kUpdateSignaturesExample{"Update the signatures and wait for the result",
                                               "Обновить сигнатуры и дождаться результата"};
inline constexpr Text kUpdateProgramExample{"Look for a new version of the product",
                                            "Проверить новую версию программы"};
inline constexpr Text kUpdateStarted{"started", "запущено"};
inline constexpr Text kWouldUpdate{"would start it", "было бы запущено"};
inline constexpr Text kUpdated{"signatures updated: {0}", "сигнатуры обновлены: {0}"};
inline constexpr Text kLiveUpdateFailed{"the live update failed and the signatures stay as they were",
                                        "обновление не удалось, сигнатуры остались прежними"};
inline constexpr Text kServiceKeepsReason{"the service keeps the reason to itself; {0}",
                                          "причину служба не сообщает; {0}"};
inline constexpr Text kCheckOfProgramFailed{"the update check failed: {0}",
                                            "проверка обновлений не удалась: {0}"};
inline constexpr Text kUpToDate{"up to date: version {0}", "версия {0} актуальна"};

}  // namespace korvel::ctl::words

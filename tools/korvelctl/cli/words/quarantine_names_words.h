// The words of quarantine names.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

constexpr Text kNamesGroup{"Look into the quarantine", "Посмотреть карантин и распорядиться им"};
constexpr Text kNamesHelp{"Show only where the quarantined files came from; the service need not run",
                          "Показать только, откуда взяты файлы в карантине; служба не нужна"};
constexpr Text kNamesLimitHelp{"Show at most N, the newest first", "Не больше N, сначала новые"};
constexpr Text kNamesFileHelp{"Write them into FILE instead, in UTF-16 for scripts of Windows",
                              "Записать их в FILE в UTF-16 для сценариев Windows"};
constexpr Text kNamesExample{"Before the product is removed", "Перед удалением программы"};
constexpr Text kAndMoreFiles{"… and {0} more", "… и ещё {0}"};
constexpr Text kNamesNotWritten{"{0} cannot be written", "не удалось записать {0}"};

}  // namespace korvel::ctl::words

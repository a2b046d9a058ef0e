// The words of scan, wait, cancel and progress.
#pragma once

#include "korvelctl/cli/text.h"

namespace korvel::ctl::words {

inline constexpr Text kNotAPath{"not a path: {0}", "это не путь: {0}"};

}  // namespace korvel::ctl::words

// How output is to look. A plain value.
#pragma once

#include <cstddef>
#include <cstdint>

#include "korvelctl/cli/global_options.h"

namespace korvel::ctl {

/// Unix seconds in UTC to the same moment's clock on the wall, in seconds since 1970 there.
using LocalTime = uint64_t (*)(uint64_t utc);

struct Look {
  Language language = Language::kEnglish;
  OutputMode mode = OutputMode::kTable;
  size_t columns = 0;  ///< width of the terminal; 0 = none, and nothing is shortened or wrapped
  bool colors = false;
  LocalTime localTime = nullptr;  ///< null = show UTC
};

}  // namespace korvel::ctl

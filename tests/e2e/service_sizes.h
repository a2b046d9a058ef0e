// How much a process of the machine holds, as Windows counts it.
#pragma once

#include <cstdint>

#include "base/win.h"

namespace korvel::test {

struct ServiceSizes {
  uint64_t privateBytes = 0;
  uint64_t peakBytes = 0;  ///< the largest working set so far
  uint32_t handles = 0;
  uint32_t threads = 0;
};

/// Throws when the process cannot be looked at.
ServiceSizes sizesOf(DWORD process);

}  // namespace korvel::test

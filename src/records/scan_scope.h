// What an on-demand scan covers. The numbers travel on the pipe.
#pragma once

#include <cstdint>

namespace korvel {

/// Any other value is treated as kCustom.
enum class ScanScope : uint32_t {
  kQuick = 0,
  kFull = 1,
  kMemory = 2,  ///< accepted, scans nothing
  kCustom = 3,
};

}  // namespace korvel

// The periods of the long-lived threads. The defaults are the product's; tests shorten them.
#pragma once

#include <cstdint>

namespace korvel::svc {

struct LoopTimes {
  uint32_t schedulePollMs = 60'000;
  uint32_t updateTickMs = 1'000;  ///< update_ticks.h counts them
  uint32_t firstWebShieldMs = 30'000;
  uint32_t webShieldPeriodMs = 86'400'000;
};

}  // namespace korvel::svc

// The periods of the long-lived threads, and the clock of the long ones. The defaults are the product's;
// tests shorten them.
#pragma once

#include <cstdint>

#include "base/clock.h"
#include "engine/day_period.h"

namespace korvel::svc {

struct LoopTimes {
  uint32_t schedulePollMs = 60'000;
  uint32_t updateTickMs = 1'000;  ///< update_ticks.h counts them
  uint32_t firstWebShieldMs = 30'000;
  uint32_t webShieldPeriodMs = 86'400'000;
  uint32_t longestLookMs = DayPeriod::kLongestLookMs;  ///< between two looks at the clock
  uint64_t (*clockMs)() = millisecondsWithSleep;       ///< as DayPeriod wants it
};

}  // namespace korvel::svc

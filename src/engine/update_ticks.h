// When the automatic live update is due: counted in one-second ticks, and by a clock. Pure; not thread-safe.
#pragma once

#include <cstdint>

#include "engine/day_period.h"

namespace korvel::svc {

/// The first run comes sixty ticks after the start, the others a day apart: after 86,400 ticks, or when the
/// clock says so because the machine slept in between. Each day begins with the tick that ended the one
/// before, so the period drifts a little later.
class UpdateTicks {
 public:
  /// Counts one second; true when a run is due now. `nowMs` as in DayPeriod.
  bool tick(uint64_t nowMs);

 private:
  uint32_t counter_ = 0;
  bool firstRun_ = true;
  DayPeriod day_;
};

}  // namespace korvel::svc

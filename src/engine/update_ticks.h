// When the automatic live update is due, counted in one-second ticks. Pure; not thread-safe.
#pragma once

#include <cstdint>

namespace korvel::svc {

/// The first run comes a minute after the start, the others a day apart. Ticks are sleeps and not a clock, so
/// the period drifts a little later each day.
class UpdateTicks {
 public:
  /// Counts one second; true when a run is due now.
  bool tick();

 private:
  uint32_t counter_ = 0;
  bool firstRun_ = true;
};

}  // namespace korvel::svc

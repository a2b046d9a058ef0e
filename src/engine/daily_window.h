// When the daily scan is due. Pure: the caller gives the time. Not thread-safe.
#pragma once

#include <cstdint>

namespace korvel::svc {

/// A moment in Coordinated Universal Time, broken down.
struct UtcMoment {
  uint32_t year = 0;
  uint32_t month = 0;   ///< 1 to 12
  uint32_t day = 0;     ///< 1 to 31
  uint32_t hour = 0;    ///< 0 to 23
  uint32_t minute = 0;  ///< 0 to 59
};

class DailyWindow {
 public:
  /// True once a day, for the first call within the first ten minutes of `scheduledHour`. The hour is UTC on
  /// purpose; local time is not consulted. A day counts as done once this returns true, even if the scan then
  /// fails to start.
  bool due(const UtcMoment& now, uint32_t scheduledHour);

 private:
  uint32_t lastRunDay_ = UINT32_MAX;
};

}  // namespace korvel::svc

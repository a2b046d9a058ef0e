#include "engine/daily_window.h"

namespace korvel::svc {
namespace {

constexpr uint32_t kWindowMinutes = 10;

/// Not a calendar count, only a number that differs from day to day.
uint32_t dayKey(const UtcMoment& moment) { return moment.year * 400 + moment.month * 31 + moment.day; }

}  // namespace

bool DailyWindow::due(const UtcMoment& now, uint32_t scheduledHour) {
  if (now.hour != scheduledHour || now.minute >= kWindowMinutes) return false;
  const uint32_t today = dayKey(now);
  if (today == lastRunDay_) return false;
  lastRunDay_ = today;
  return true;
}

}  // namespace korvel::svc

#include "engine/day_period.h"

#include <algorithm>

namespace korvel::svc {
namespace {

constexpr uint64_t kAsleepMs = DayPeriod::kLongestLookMs + 30'000;  // no thread is this late for its look
constexpr uint64_t kAfterSleepMs = 60'000;

}  // namespace

void DayPeriod::restart(uint64_t nowMs, uint64_t lengthMs) {
  end_ = nowMs + lengthMs;
  lastLook_ = nowMs;
}

bool DayPeriod::over(uint64_t nowMs) {
  if (nowMs - lastLook_ > kAsleepMs) end_ = std::max(end_, nowMs + kAfterSleepMs);
  lastLook_ = nowMs;
  return nowMs >= end_;
}

uint32_t DayPeriod::untilNextLook(uint64_t nowMs) const {
  if (nowMs >= end_) return 0;
  return static_cast<uint32_t>(std::min<uint64_t>(end_ - nowMs, kLongestLookMs));
}

}  // namespace korvel::svc

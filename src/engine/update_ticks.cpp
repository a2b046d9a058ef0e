#include "engine/update_ticks.h"

namespace korvel::svc {
namespace {

constexpr uint32_t kFirstRunSeconds = 60;
constexpr uint32_t kPeriodSeconds = 86'400;

}  // namespace

bool UpdateTicks::tick(uint64_t nowMs) {
  ++counter_;
  const bool dayIsOver = day_.over(nowMs);  // never before the first run
  if (counter_ != (firstRun_ ? kFirstRunSeconds : kPeriodSeconds) && !dayIsOver) return false;
  firstRun_ = false;
  counter_ = 0;
  day_.restart(nowMs, uint64_t{kPeriodSeconds} * 1'000);
  return true;
}

}  // namespace korvel::svc

#include "engine/update_ticks.h"

namespace korvel::svc {
namespace {

constexpr uint32_t kFirstRunSeconds = 60;
constexpr uint32_t kPeriodSeconds = 86'400;

}  // namespace

bool UpdateTicks::tick() {
  ++counter_;
  if (counter_ != (firstRun_ ? kFirstRunSeconds : kPeriodSeconds)) return false;
  firstRun_ = false;
  counter_ = 0;
  return true;
}

}  // namespace korvel::svc

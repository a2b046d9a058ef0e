#include "engine/update_ticks.h"

#include <gtest/gtest.h>

namespace korvel::svc {
namespace {

TEST(UpdateTicks, FirstRunComesAfterAMinuteAndTheOthersADayApart) {
  UpdateTicks ticks;
  std::vector<uint32_t> due;
  for (uint32_t second = 1; second <= 3 * 86'400; ++second) {
    if (ticks.tick()) due.push_back(second);
  }
  EXPECT_EQ(due, (std::vector<uint32_t>{60, 60 + 86'400, 60 + 2 * 86'400}));
}

}  // namespace
}  // namespace korvel::svc

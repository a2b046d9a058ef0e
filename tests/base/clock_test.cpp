#include "base/clock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace korvel {
namespace {

constexpr uint64_t kYear1970 = 116'444'736'000'000'000;
constexpr uint64_t kBillionthSecond = 126'444'736'000'000'000;  // 2001-09-09 01:46:40 UTC

TEST(Clock, CountsUnixTimeFrom1970InUtc) {
  EXPECT_EQ(unixSecondsFromFileTime(kYear1970), 0u);
  EXPECT_EQ(unixMillisecondsFromFileTime(kYear1970), 0u);
  EXPECT_EQ(unixSecondsFromFileTime(kBillionthSecond), 1'000'000'000u);
  EXPECT_EQ(unixMillisecondsFromFileTime(kBillionthSecond), 1'000'000'000'000u);
}

TEST(Clock, CutsFractions) {
  EXPECT_EQ(unixSecondsFromFileTime(kBillionthSecond + 9'999'999), 1'000'000'000u);
  EXPECT_EQ(unixSecondsFromFileTime(kBillionthSecond + 10'000'000), 1'000'000'001u);
  EXPECT_EQ(unixMillisecondsFromFileTime(kBillionthSecond + 9'999), 1'000'000'000'000u);
  EXPECT_EQ(unixMillisecondsFromFileTime(kBillionthSecond + 10'000), 1'000'000'000'001u);
}

#ifdef _WIN32
TEST(Clock, ReadsOneClockInEveryUnit) {
  const uint64_t before = unixSecondsNow();
  const uint64_t milliseconds = unixMillisecondsNow();
  const uint64_t after = unixSecondsNow();
  EXPECT_LE(before, milliseconds / 1000);
  EXPECT_LE(milliseconds / 1000, after);
  EXPECT_GT(before, 1'600'000'000u);
}

TEST(Clock, TheOneThatNobodySetsCountsMilliseconds) {
  constexpr uint64_t kCoarse = 16;
  const uint64_t before = millisecondsWithSleep();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const uint64_t after = millisecondsWithSleep();
  EXPECT_GE(after - before, 100 - kCoarse);
  EXPECT_LT(after - before, 60'000u);
}
#endif

}  // namespace
}  // namespace korvel

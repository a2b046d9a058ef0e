#include "engine/day_period.h"

#include <gtest/gtest.h>

namespace korvel::svc {
namespace {

constexpr uint64_t kDay = 86'400'000;
constexpr uint64_t kStart = 5'000;

/// Looks as often as the period wants, from `from` on, and returns when it is over; never later than `limit`.
uint64_t firstOver(DayPeriod& period, uint64_t from, uint64_t limit) {
  uint64_t now = from;
  while (!period.over(now) && now < limit) now += period.untilNextLook(now);
  return now;
}

TEST(DayPeriod, IsOverAtItsEndAndNotBefore) {
  DayPeriod period;
  period.restart(kStart, kDay);
  EXPECT_EQ(firstOver(period, kStart, 2 * kDay), kStart + kDay);
  EXPECT_TRUE(period.over(kStart + kDay));
}

TEST(DayPeriod, NeverBegunHasNoEnd) {
  DayPeriod period;
  EXPECT_FALSE(period.over(0));
  EXPECT_FALSE(period.over(1'000 * kDay));
}

TEST(DayPeriod, WantsALookAtLeastOncePerMinute) {
  DayPeriod period;
  period.restart(kStart, kDay);
  EXPECT_EQ(period.untilNextLook(kStart), 60'000u);
  EXPECT_EQ(period.untilNextLook(kStart + kDay - 60'001), 60'000u);
  EXPECT_EQ(period.untilNextLook(kStart + kDay - 59'999), 59'999u);
  EXPECT_EQ(period.untilNextLook(kStart + kDay), 0u);
  EXPECT_EQ(period.untilNextLook(kStart + 2 * kDay), 0u);
}

TEST(DayPeriod, ThatEndsInASleepIsOverAMinuteAfterIt) {
  DayPeriod period;
  period.restart(kStart, kDay);
  const uint64_t woken = kStart + 3 * kDay;
  EXPECT_EQ(firstOver(period, woken, 5 * kDay), woken + 60'000);
}

TEST(DayPeriod, ThatEndsAfterASleepIsNotStretched) {
  DayPeriod period;
  period.restart(kStart, kDay);
  EXPECT_EQ(firstOver(period, kStart + kDay - 3'600'000, 2 * kDay), kStart + kDay);
}

TEST(DayPeriod, ALookThatIsABitLateIsNoSleep) {
  DayPeriod period;
  period.restart(kStart, 60'000);
  EXPECT_TRUE(period.over(kStart + 90'000));
  period.restart(kStart, 60'000);
  EXPECT_FALSE(period.over(kStart + 90'001));
}

TEST(DayPeriod, IsOverAgainOnlyAfterARestartAndItsLength) {
  DayPeriod period;
  period.restart(kStart, 1'000);
  EXPECT_TRUE(period.over(kStart + 1'500));
  period.restart(kStart + 1'500, 1'000);
  EXPECT_FALSE(period.over(kStart + 2'499));
  EXPECT_TRUE(period.over(kStart + 2'500));
}

}  // namespace
}  // namespace korvel::svc

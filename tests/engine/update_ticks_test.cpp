#include "engine/update_ticks.h"

#include <gtest/gtest.h>

#include <vector>

namespace korvel::svc {
namespace {

constexpr uint64_t kSecond = 1'000;
constexpr uint64_t kHour = 3'600 * kSecond;
constexpr uint64_t kBoot = 12'345;  // the clock does not begin with the service

/// Ticks beside a clock that the test moves.
class UpdateTicksTest : public testing::Test {
 protected:
  /// Ticks for so long, one a second; notes when a run was due, as seconds of the clock since the beginning.
  void stayAwake(uint64_t milliseconds) {
    for (uint64_t passed = 0; passed < milliseconds; passed += kSecond) {
      now_ += kSecond;
      if (ticks_.tick(now_)) due_.push_back((now_ - kBoot) / kSecond);
    }
  }
  void sleep(uint64_t milliseconds) { now_ += milliseconds; }

  UpdateTicks ticks_;
  uint64_t now_ = kBoot;
  std::vector<uint64_t> due_;
};

using Seconds = std::vector<uint64_t>;

TEST_F(UpdateTicksTest, FirstRunComesAfterAMinuteAndTheOthersADayApart) {
  stayAwake(72 * kHour);
  EXPECT_EQ(due_, (Seconds{60, 60 + 86'400, 60 + 2 * 86'400}));
}

TEST_F(UpdateTicksTest, WithAClockThatStandsStillTheTicksCountAlone) {
  Seconds due;
  for (uint64_t tick = 1; tick <= 3 * 86'400; ++tick) {
    if (ticks_.tick(kBoot)) due.push_back(tick);
  }
  EXPECT_EQ(due, (Seconds{60, 60 + 86'400, 60 + 2 * 86'400}));
}

TEST_F(UpdateTicksTest, OnALaptopThatIsOpenEightHoursADayTheUpdateRunsEachDay) {
  for (int day = 0; day < 10; ++day) {
    stayAwake(8 * kHour);
    sleep(16 * kHour);
  }
  ASSERT_EQ(due_.size(), 10u);
  EXPECT_EQ(due_[0], 60u);
  for (size_t day = 1; day < due_.size(); ++day) {
    EXPECT_GE(due_[day], day * 86'400) << "in the hours that it is open";
    EXPECT_LT(due_[day], day * 86'400 + 300);
  }
}

TEST_F(UpdateTicksTest, ADayThatEndsAsleepIsOverAMinuteAfterTheWakeUp) {
  stayAwake(2 * kHour);
  sleep(30 * kHour);
  stayAwake(1 * kHour);
  EXPECT_EQ(due_, (Seconds{60, 32 * 3'600 + 1 + 60}));
}

TEST_F(UpdateTicksTest, SleepInTheMinuteAfterTheStartBringsNoRunForward) {
  stayAwake(10 * kSecond);
  sleep(30 * kHour);
  stayAwake(2 * kHour);
  EXPECT_EQ(due_, (Seconds{30 * 3'600 + 60}));
}

TEST_F(UpdateTicksTest, ARunByTheClockBeginsAFullDay) {
  stayAwake(1 * kHour);
  sleep(40 * kHour);
  stayAwake(23 * kHour);
  EXPECT_EQ(due_.size(), 2u);
  stayAwake(2 * kHour);
  EXPECT_EQ(due_, (Seconds{60, 41 * 3'600 + 61, 41 * 3'600 + 61 + 86'400}));
}

TEST_F(UpdateTicksTest, ADayThatWasShortOfTicksEndsByTheClockToTheSecond) {
  stayAwake(60 * kSecond);
  sleep(80 * kSecond);  // too short to count as one
  stayAwake(24 * kHour);
  EXPECT_EQ(due_, (Seconds{60, 60 + 86'400}));
}

}  // namespace
}  // namespace korvel::svc

#include "net/step_clock.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

using std::chrono::hours;

// With a limit of 0 every step is overdue at once, with one of hours none ever is.

TEST(StepClock, NamesTheCallWhoseStepLastsTooLong) {
  StepClock clock(hours(0));
  EXPECT_EQ(clock.giveUpOverdue(), nullptr) << "no call runs";
  EXPECT_TRUE(clock.begin("first"));
  EXPECT_STREQ(clock.giveUpOverdue(), "first");
}

TEST(StepClock, AStepInTimeIsNotGivenUp) {
  StepClock clock(hours(1));
  EXPECT_TRUE(clock.begin("call"));
  EXPECT_EQ(clock.giveUpOverdue(), nullptr);
  EXPECT_TRUE(clock.end());
}

TEST(StepClock, BetweenTwoCallsNothingIsOverdue) {
  StepClock clock(hours(0));
  EXPECT_TRUE(clock.begin("call"));
  EXPECT_TRUE(clock.end());
  EXPECT_EQ(clock.giveUpOverdue(), nullptr);
  clock.next();
  clock.nextAs("late report");
  EXPECT_EQ(clock.giveUpOverdue(), nullptr) << "a report after the call begins no step";
}

TEST(StepClock, NextStepOfACallHasItsOwnTimeAndMayHaveItsOwnName) {
  StepClock clock(hours(1));
  EXPECT_TRUE(clock.begin("call"));
  const auto before = clock.lookAgainAt();
  while (StepClock::Clock::now() + hours(1) <= before) continue;  // the clock ticks
  clock.next();
  EXPECT_GT(clock.lookAgainAt(), before);

  StepClock impatient(hours(0));
  EXPECT_TRUE(impatient.begin("send"));
  impatient.next();
  impatient.nextAs("receive");
  EXPECT_STREQ(impatient.giveUpOverdue(), "receive");
}

TEST(StepClock, AfterAGivingUpNoCallBeginsAndNoneCounts) {
  StepClock clock(hours(0));
  EXPECT_TRUE(clock.begin("call"));
  ASSERT_NE(clock.giveUpOverdue(), nullptr);
  EXPECT_FALSE(clock.end());
  EXPECT_FALSE(clock.begin("other"));
}

}  // namespace
}  // namespace korvel

#include "engine/daily_window.h"

#include <gtest/gtest.h>

namespace korvel::svc {
namespace {

bool isLeapYear(uint32_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

uint32_t daysIn(uint32_t year, uint32_t month) {
  constexpr uint32_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

/// A calendar that moves on minute by minute.
class Calendar {
 public:
  explicit Calendar(UtcMoment start) : now_(start) {}
  const UtcMoment& now() const { return now_; }
  void nextMinute() {
    if (++now_.minute < 60) return;
    now_.minute = 0;
    if (++now_.hour < 24) return;
    now_.hour = 0;
    if (++now_.day <= daysIn(now_.year, now_.month)) return;
    now_.day = 1;
    if (++now_.month <= 12) return;
    now_.month = 1;
    ++now_.year;
  }

 private:
  UtcMoment now_;
};

TEST(DailyWindow, FiresOnceADayOverYearsOfMinutesLeapDaysIncluded) {
  DailyWindow window;
  Calendar calendar({2027, 1, 1, 0, 0});
  int runs = 0;
  while (calendar.now().year < 2033) {
    if (window.due(calendar.now(), 3)) {
      ++runs;
      EXPECT_EQ(calendar.now().hour, 3u);
      EXPECT_EQ(calendar.now().minute, 0u);
    }
    calendar.nextMinute();
  }
  EXPECT_EQ(runs, 4 * 365 + 2 * 366);  // 2028 and 2032 are leap years
}

TEST(DailyWindow, EveryMinuteOfTheWindowCountsAndNoOther) {
  for (uint32_t minute = 0; minute < 60; ++minute) {
    DailyWindow window;
    EXPECT_EQ(window.due({2026, 11, 21, 3, minute}, 3), minute < 10) << minute;
  }
}

TEST(DailyWindow, AServiceStartedAfterTheWindowRunsNoneThatDay) {
  DailyWindow window;
  Calendar calendar({2026, 11, 21, 3, 15});
  while (calendar.now().day == 21) {
    EXPECT_FALSE(window.due(calendar.now(), 3));
    calendar.nextMinute();
  }
  EXPECT_FALSE(window.due({2026, 11, 22, 2, 59}, 3));
  EXPECT_TRUE(window.due({2026, 11, 22, 3, 9}, 3));
}

TEST(DailyWindow, AClockSetBackWithinTheDayDoesNotFireAgain) {
  DailyWindow window;
  EXPECT_TRUE(window.due({2026, 11, 21, 3, 5}, 3));
  EXPECT_FALSE(window.due({2026, 11, 21, 3, 1}, 3));
}

TEST(DailyWindow, AClockSetBackADayFiresForThatDayToo) {
  DailyWindow window;
  EXPECT_TRUE(window.due({2026, 11, 21, 3, 5}, 3));
  EXPECT_TRUE(window.due({2026, 11, 20, 3, 5}, 3));
  EXPECT_TRUE(window.due({2026, 11, 21, 3, 5}, 3));
}

TEST(DailyWindow, AClockSetForwardPastTheWindowSkipsTheDay) {
  DailyWindow window;
  EXPECT_FALSE(window.due({2026, 11, 21, 2, 59}, 3));
  EXPECT_FALSE(window.due({2026, 11, 21, 3, 10}, 3));
  EXPECT_TRUE(window.due({2026, 11, 22, 3, 0}, 3));
}

TEST(DailyWindow, AChangedHourCountsAtTheNextLookButNotTwiceADay) {
  DailyWindow window;
  EXPECT_FALSE(window.due({2026, 11, 21, 5, 0}, 3));
  EXPECT_TRUE(window.due({2026, 11, 21, 5, 1}, 5));
  EXPECT_FALSE(window.due({2026, 11, 21, 7, 0}, 7));
}

TEST(DailyWindow, AnHourBeyondTheDayNeverMatches) {
  DailyWindow window;
  Calendar calendar({2026, 11, 21, 0, 0});
  while (calendar.now().day < 24) {
    EXPECT_FALSE(window.due(calendar.now(), 24));
    EXPECT_FALSE(window.due(calendar.now(), UINT32_MAX));
    calendar.nextMinute();
  }
}

}  // namespace
}  // namespace korvel::svc

#include "engine/held_files.h"

#include <gtest/gtest.h>

#include <vector>

namespace korvel::svc {
namespace {

constexpr uint64_t kStart = 100'000;

FileVerdict heldVerdict(const std::wstring& path, Severity severity = kSeverityHigh) {
  FileVerdict verdict;
  verdict.path = path;
  verdict.size = 5;
  verdict.lastWriteTime = 77;
  verdict.severity = severity;
  verdict.held = true;
  return verdict;
}

FileVerdict readVerdict(const std::wstring& path, Severity severity = kSeverityHigh) {
  FileVerdict verdict = heldVerdict(path, severity);
  verdict.held = false;
  return verdict;
}

/// Makes every try that is due until `end`, finds the file held each time, and returns when that was.
std::vector<uint64_t> triesOfHeldFile(HeldFiles& files, uint64_t from, uint64_t end, int* judged) {
  std::vector<uint64_t> tries;
  for (uint64_t now = from; now <= end;) {
    while (const std::optional<HeldFiles::Try> due = files.nextDue(now)) {
      tries.push_back(now - from);
      if (files.afterTry(heldVerdict(due->path), due->last, now)) ++*judged;
    }
    const uint32_t wait = files.untilNextDue(now);
    if (wait == HeldFiles::kNoTry) break;
    EXPECT_GT(wait, 0u);
    now += wait;
  }
  return tries;
}

TEST(HeldFiles, AFileThatCanBeReadIsJudgedAtOnceAndEachTime) {
  HeldFiles files;
  EXPECT_TRUE(files.afterNotification(readVerdict(L"a"), kStart));
  EXPECT_TRUE(files.afterNotification(readVerdict(L"a"), kStart + 1));
  EXPECT_EQ(files.untilNextDue(kStart), HeldFiles::kNoTry);
  EXPECT_FALSE(files.nextDue(kStart + 60'000));
}

TEST(HeldFiles, AHeldOneIsTriedAfterHalfASecondTwoAndTenAndThenJudgedByItsName) {
  HeldFiles files;
  int judged = 0;
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"a"), kStart));
  EXPECT_EQ(triesOfHeldFile(files, kStart, kStart + 60'000, &judged),
            (std::vector<uint64_t>{500, 2'000, 10'000}));
  EXPECT_EQ(judged, 1);
  EXPECT_EQ(files.untilNextDue(kStart + 60'000), HeldFiles::kNoTry);
}

TEST(HeldFiles, ATryComesAtItsTimeAndNotBefore) {
  HeldFiles files;
  files.afterNotification(heldVerdict(L"a"), kStart);
  EXPECT_EQ(files.untilNextDue(kStart + 100), 400u);
  EXPECT_FALSE(files.nextDue(kStart + 499));
  const std::optional<HeldFiles::Try> due = files.nextDue(kStart + 500);
  ASSERT_TRUE(due);
  EXPECT_EQ(due->path, L"a");
  EXPECT_FALSE(due->last);
  EXPECT_FALSE(files.nextDue(kStart + 500)) << "it counts as made";
}

TEST(HeldFiles, OnceReadItIsJudgedAndWaitsNoLonger) {
  HeldFiles files;
  files.afterNotification(heldVerdict(L"a"), kStart);
  const std::optional<HeldFiles::Try> due = files.nextDue(kStart + 500);
  ASSERT_TRUE(due);
  EXPECT_TRUE(files.afterTry(readVerdict(L"a"), due->last, kStart + 500));
  EXPECT_EQ(files.untilNextDue(kStart + 500), HeldFiles::kNoTry);
}

TEST(HeldFiles, ALaterNotificationBeginsTheTriesAnew) {
  HeldFiles files;
  int judged = 0;
  files.afterNotification(heldVerdict(L"a"), kStart);
  EXPECT_EQ(triesOfHeldFile(files, kStart, kStart + 9'000, &judged), (std::vector<uint64_t>{500, 2'000}));
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"a"), kStart + 9'000));
  EXPECT_EQ(triesOfHeldFile(files, kStart + 9'000, kStart + 60'000, &judged),
            (std::vector<uint64_t>{500, 2'000, 10'000}));
  EXPECT_EQ(judged, 1);
}

TEST(HeldFiles, ANotificationThatFindsItReadableEndsTheTries) {
  HeldFiles files;
  files.afterNotification(heldVerdict(L"a"), kStart);
  EXPECT_TRUE(files.afterNotification(readVerdict(L"a"), kStart + 100));
  EXPECT_EQ(files.untilNextDue(kStart + 100), HeldFiles::kNoTry);
}

TEST(HeldFiles, AfterItsEventALateNotificationOfTheSameContentMakesNoSecondOne) {
  HeldFiles files;
  files.afterNotification(heldVerdict(L"a"), kStart);
  ASSERT_TRUE(files.afterTry(readVerdict(L"a"), false, kStart + 500));
  EXPECT_FALSE(files.afterNotification(readVerdict(L"a"), kStart + 510));
  // Held once more, without a change: neither the tries nor the end of them.
  int judged = 0;
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"a"), kStart + 520));
  EXPECT_FALSE(files.afterTry(readVerdict(L"a"), false, kStart + 1'020));
  EXPECT_TRUE(triesOfHeldFile(files, kStart + 1'020, kStart + 60'000, &judged).empty());

  FileVerdict changed = readVerdict(L"a");
  changed.lastWriteTime += 1;
  EXPECT_TRUE(files.afterNotification(changed, kStart + 1'030)) << "another content";
  EXPECT_TRUE(files.afterNotification(readVerdict(L"a"), kStart + 500 + HeldFiles::kRememberedMs));
}

TEST(HeldFiles, WhatWasReportedByItsNameIsReportedOnceMoreWhenItsContentIsKnown) {
  HeldFiles files;
  files.afterNotification(heldVerdict(L"a"), kStart);
  ASSERT_TRUE(files.afterTry(heldVerdict(L"a"), /*last=*/true, kStart + 10'000));
  files.afterNotification(heldVerdict(L"a"), kStart + 10'100);
  EXPECT_FALSE(files.afterTry(heldVerdict(L"a"), /*last=*/true, kStart + 10'200)) << "the same once more";
  EXPECT_TRUE(files.afterNotification(readVerdict(L"a"), kStart + 10'300));
}

TEST(HeldFiles, AHarmlessFileIsNotRemembered) {
  HeldFiles files;
  files.afterNotification(heldVerdict(L"a", kSeverityClean), kStart);
  EXPECT_TRUE(files.afterTry(readVerdict(L"a", kSeverityLow), false, kStart + 500));
  EXPECT_TRUE(files.afterNotification(readVerdict(L"a"), kStart + 510));
}

TEST(HeldFiles, EachFileHasTriesOfItsOwn) {
  HeldFiles files;
  int judged = 0;
  files.afterNotification(heldVerdict(L"b"), kStart);
  files.afterNotification(heldVerdict(L"a"), kStart + 300);
  EXPECT_EQ(triesOfHeldFile(files, kStart, kStart + 60'000, &judged),
            (std::vector<uint64_t>{500, 800, 2'000, 2'300, 10'000, 10'300}));
  EXPECT_EQ(judged, 2);
}

TEST(HeldFiles, OneMoreThanTheMostIsJudgedByItsNameAtOnce) {
  HeldFiles files;
  for (size_t i = 0; i < HeldFiles::kMostFiles; ++i) {
    EXPECT_FALSE(files.afterNotification(heldVerdict(std::to_wstring(i)), kStart));
  }
  EXPECT_TRUE(files.afterNotification(heldVerdict(L"one more"), kStart));
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"7"), kStart)) << "it waits already";
  files.afterNotification(readVerdict(L"7"), kStart);
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"one more"), kStart));
}

TEST(HeldFiles, AFileOfMediumSeverityIsRememberedTooOnceItHasWaited) {
  HeldFiles files;
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"a"), kStart));
  EXPECT_TRUE(files.afterNotification(readVerdict(L"a", kSeverityMedium), kStart + 1));
  EXPECT_FALSE(files.afterNotification(readVerdict(L"a", kSeverityMedium), kStart + 2));
}

TEST(HeldFiles, AfterItsLastTryAFileIsNotDueAgainEvenIfNobodyJudgesIt) {
  HeldFiles files;
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"a"), kStart));
  for (const bool last : {false, false, true}) {
    const std::optional<HeldFiles::Try> due = files.nextDue(kStart + 60'000);
    ASSERT_TRUE(due);
    EXPECT_EQ(due->last, last);
  }
  EXPECT_FALSE(files.nextDue(kStart + 60'000));
  EXPECT_EQ(files.untilNextDue(kStart + 60'000), HeldFiles::kNoTry);
}

TEST(HeldFiles, ATryThatIsOverdueIsDueNow) {
  HeldFiles files;
  EXPECT_FALSE(files.afterNotification(heldVerdict(L"a"), kStart));
  EXPECT_EQ(files.untilNextDue(kStart + 499), 1u);
  EXPECT_EQ(files.untilNextDue(kStart + 500), 0u);
  EXPECT_EQ(files.untilNextDue(kStart + 60'000), 0u);
}

}  // namespace
}  // namespace korvel::svc

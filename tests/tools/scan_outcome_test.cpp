#include "korvelctl/model/scan_outcome.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

ScanEnd ended(uint64_t done, uint64_t total) {
  return {.phase = scan_phase::kCancelled, .filesDone = done, .filesTotal = total, .filesExamined = done};
}

TEST(ScanOutcome, IsConcludedFromTheCountersSinceTheServiceCallsEveryScanCancelled) {
  EXPECT_EQ(concluded(ended(40, 40)).outcome, ScanOutcome::kCompleted);
  EXPECT_EQ(concluded(ended(41, 40)).outcome, ScanOutcome::kCompleted) << "files may appear meanwhile";
  EXPECT_EQ(concluded(ended(39, 40)).outcome, ScanOutcome::kStopped);
  EXPECT_EQ(concluded(ended(0, 0)).outcome, ScanOutcome::kNothingExamined);
  EXPECT_EQ(concluded(ended(0, 40)).outcome, ScanOutcome::kNothingExamined);
  EXPECT_EQ(concluded({.phase = scan_phase::kIdle}).outcome, ScanOutcome::kNothingExamined);
  EXPECT_EQ(concluded({.phase = scan_phase::kFailed}).outcome, ScanOutcome::kFailed);
}

TEST(ScanOutcome, TheWorseOneIsToldFirst) {
  ScanEnd end = ended(40, 40);
  end.cancelled = true;
  EXPECT_EQ(concluded(end).outcome, ScanOutcome::kCancelled);
  end.phase = scan_phase::kFailed;
  EXPECT_EQ(concluded(end).outcome, ScanOutcome::kFailed);
  end.lost = true;
  EXPECT_EQ(concluded(end).outcome, ScanOutcome::kLost);
}

class ScanWatchTest : public testing::Test {
 protected:
  ScanWatchTest() {
    report_.scanning = true;
    report_.progress = {
        .filesDone = 10, .filesTotal = 100, .bytesDone = 5, .bytesTotal = 50, .phase = scan_phase::kScanning};
    watch_.see(report_, /*followedMs=*/6'000);
  }
  bool replacedBy(const ScanReport& next) {
    watch_.see(next, /*followedMs=*/7'000);
    return watch_.replaced();
  }
  ScanReport report_;
  ScanWatch watch_;
};

TEST_F(ScanWatchTest, TheSameScanMovesOn) {
  report_.progress.filesDone = 11;
  EXPECT_FALSE(replacedBy(report_));
  report_.progress.filesDone = 100;
  report_.scanning = false;
  report_.progress.phase = scan_phase::kCancelled;
  report_.lastSummary.elapsedMs = 6'900;
  EXPECT_FALSE(replacedBy(report_));
}

TEST_F(ScanWatchTest, AFinalPhaseComesBeforeTheEnd) {
  report_.progress.phase = scan_phase::kFinishing;
  EXPECT_FALSE(replacedBy(report_));
  report_.progress.phase = scan_phase::kCancelled;
  EXPECT_FALSE(replacedBy(report_)) << "the service still saves its settings";
}

TEST_F(ScanWatchTest, CountersThatGoBackBelongToAnotherScan) {
  report_.progress.filesDone = 9;
  EXPECT_TRUE(replacedBy(report_));
}

TEST_F(ScanWatchTest, OtherTotalsBelongToAnotherScan) {
  report_.progress.filesTotal = 101;
  EXPECT_TRUE(replacedBy(report_));
}

TEST_F(ScanWatchTest, AScanThatCountsAgainIsAnotherOne) {
  report_.progress.phase = scan_phase::kCounting;
  EXPECT_TRUE(replacedBy(report_));
}

TEST_F(ScanWatchTest, AScanThatTookLessThanWasFollowedIsAnotherOne) {
  report_.scanning = false;
  report_.progress.phase = scan_phase::kCancelled;
  report_.lastSummary.elapsedMs = 300;
  EXPECT_TRUE(replacedBy(report_));
}

TEST(ScanPlaces, PathsCompareWithoutRegardToSpelling) {
  EXPECT_TRUE(isBelow(L"C:\\Data\\a.exe", L"c:\\DATA\\"));
  EXPECT_TRUE(isBelow(L"C:\\x\\..\\Data\\a.exe", L"C:\\Data"));
  EXPECT_TRUE(isBelow(L"\\\\?\\C:\\Data\\a.exe", L"C:\\Data"));
  EXPECT_FALSE(isBelow(L"C:\\Database\\a.exe", L"C:\\Data"));
  EXPECT_FALSE(isBelow(L"C:\\Data\\..\\a.exe", L"C:\\Data"));
  EXPECT_FALSE(isBelow(L"C:\\Data\\a.exe", L""));
}

TEST(ScanPlaces, OneResultOutsideTheTargetsIsEnough) {
  std::vector<ThreatRecord> threats(2);
  threats[0].path = L"C:\\in\\a.exe";
  threats[1].path = L"D:\\in\\b.exe";
  EXPECT_FALSE(allBelow(threats, {L"C:\\in"}));
  EXPECT_TRUE(allBelow(threats, {L"C:\\in", L"D:\\"}));
  EXPECT_TRUE(allBelow({}, {L"C:\\in"}));
}

}  // namespace
}  // namespace korvel::ctl

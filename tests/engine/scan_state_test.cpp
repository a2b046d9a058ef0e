#include "engine/scan_state.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace korvel::svc {
namespace {

ThreatRecord named(const char* name) {
  ThreatRecord record;
  record.name = name;
  return record;
}

TEST(ScanState, RefusesWhileTheServiceStopsProtectionIsOffOrAScanRuns) {
  ScanState state;
  std::string error;
  EXPECT_FALSE(state.begin(/*stopping=*/true, /*protectionEnabled=*/false, &error));
  EXPECT_EQ(error, "service is stopping");
  EXPECT_FALSE(state.begin(/*stopping=*/false, /*protectionEnabled=*/false, &error));
  EXPECT_EQ(error, "protection is disabled");
  EXPECT_FALSE(state.running());
  EXPECT_TRUE(state.begin(/*stopping=*/false, /*protectionEnabled=*/true, nullptr));
  EXPECT_TRUE(state.running());
  EXPECT_FALSE(state.begin(/*stopping=*/false, /*protectionEnabled=*/true, &error));
  EXPECT_EQ(error, "a scan is already running");
  state.end();
  EXPECT_TRUE(state.begin(/*stopping=*/false, /*protectionEnabled=*/true, nullptr));
}

TEST(ScanState, ANewScanBeginsWithNothingOfTheLast) {
  ScanState state;
  ASSERT_TRUE(state.begin(false, true, nullptr));
  state.addResult(named("a"));
  ScanSummary summary;
  summary.threats = 3;
  state.finish(summary, 17);
  state.end();
  EXPECT_EQ(state.results().size(), 1u);

  ASSERT_TRUE(state.begin(false, true, nullptr));
  const ScanReport report = state.report();
  EXPECT_TRUE(report.scanning);
  EXPECT_EQ(report.progress.phase, scan_phase::kPreparing);
  EXPECT_EQ(report.lastSummary, ScanSummary{});
  EXPECT_TRUE(state.results().empty());
  EXPECT_FALSE(state.cancel()) << "the last scan's end no longer counts as a request";
}

TEST(ScanState, ACancelReachesTheScanOnlyWhileItIsCancellable) {
  ScanState state;
  ASSERT_TRUE(state.begin(false, true, nullptr));
  int cancels = 0;
  state.becomeCancellable([&cancels] { ++cancels; });
  EXPECT_FALSE(state.cancel());
  EXPECT_TRUE(state.cancel());
  EXPECT_EQ(cancels, 2);
  state.notCancellable();
  EXPECT_TRUE(state.cancel());
  EXPECT_EQ(cancels, 2);
}

TEST(ScanState, ACancelThatComesTooEarlyIsLostAndSoAreAllLaterOnes) {
  ScanState state;
  ASSERT_TRUE(state.begin(false, true, nullptr));
  EXPECT_FALSE(state.cancel());
  int cancels = 0;
  state.becomeCancellable([&cancels] { ++cancels; });
  EXPECT_TRUE(state.cancel());
  EXPECT_EQ(cancels, 0);
}

TEST(ScanState, EveryScanThatWasCarriedOutEndsAsCancelled) {
  ScanState state;
  ASSERT_TRUE(state.begin(false, true, nullptr));
  ScanSummary summary;
  summary.filesScanned = 5;
  state.finish(summary, 17);
  const ScanReport report = state.report();
  EXPECT_TRUE(report.scanning) << "until end()";
  EXPECT_EQ(report.progress.phase, scan_phase::kCancelled);
  EXPECT_TRUE(report.lastSummary.cancelled);
  EXPECT_EQ(report.lastSummary.filesScanned, 5u);
  EXPECT_EQ(report.lastSummary.elapsedMs, 17u);
  EXPECT_TRUE(state.cancel()) << "the end counts as a request";
}

TEST(ScanState, OneThatWasNotCarriedOutSaysWhy) {
  ScanState state;
  state.endEarly(scan_phase::kIdle, /*cancelled=*/false);
  EXPECT_EQ(state.report().progress.phase, scan_phase::kIdle);
  EXPECT_FALSE(state.report().lastSummary.cancelled);
  state.endEarly(scan_phase::kFailed, /*cancelled=*/true);
  EXPECT_EQ(state.report().progress.phase, scan_phase::kFailed);
  EXPECT_TRUE(state.report().lastSummary.cancelled);
}

TEST(ScanState, ProgressKeepsTheTotalsOfTheCountingPass) {
  ScanState state;
  state.setPhase(scan_phase::kCounting);
  EXPECT_EQ(state.report().progress.phase, scan_phase::kCounting);
  ScanProgressInfo counted;
  counted.filesTotal = 7;
  counted.bytesTotal = 70;
  counted.phase = scan_phase::kCounting;
  state.showCounted(counted);
  ScanProgressInfo info;
  info.filesDone = 1;
  info.bytesDone = 10;
  info.currentPath = L"C:\\a";
  info.phase = scan_phase::kScanning;
  state.showProgress(info);
  ScanProgressInfo expected = info;
  expected.filesTotal = 7;
  expected.bytesTotal = 70;
  EXPECT_EQ(state.report().progress, expected);
}

// Whatever the threads do, at most one of them has the scan, and its outcome is there when it has ended.
TEST(ScanState, OfManyThreadsOneHasTheScan) {
  ScanState state;
  std::atomic<int> scanning{0};
  std::atomic<int> begun{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round) {
        if (!state.begin(false, true, nullptr)) {
          (void)state.cancel();
          (void)state.report();
          (void)state.results();
          continue;
        }
        EXPECT_EQ(++scanning, 1);
        ++begun;
        state.becomeCancellable([] {});
        state.addResult(named("a"));
        state.notCancellable();
        state.finish({}, 1);
        --scanning;
        state.end();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(begun, 1);
  EXPECT_FALSE(state.running());
}

}  // namespace
}  // namespace korvel::svc

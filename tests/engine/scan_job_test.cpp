// Scans that end in an unusual way.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

#include "base/utf.h"
#include "base/win.h"
#include "config/settings_file.h"
#include "engine/engine_fixture.h"
#include "engine/hostile_image.h"
#include "engine/scan_job.h"
#include "engine/settings_in_force.h"
#include "engine/signatures_in_force.h"
#include "signatures/signature_database.h"
#include "support/allocation_meter.h"

namespace korvel::svc {
namespace {

class ScanJobTest : public test::EngineTest {
 protected:
  static void waitForEnd(const ScanWorker& worker) {
    ASSERT_TRUE(test::eventually([&] { return !worker.getStatus().scanRunning; }));
  }
};

TEST_F(ScanJobTest, AnExceptionOfTheScannerIsLoggedAndTheScanCountsAsCancelledWithNothingScanned) {
  folder_.write(L"a\\clean.exe", "x");
  folder_.write(L"many.exe", test::imageWithManySections());
  settings_.lastThreatCount = 7;
  settings_.lastScanUtc = 77;
  ScanWorker& worker = startWorker();
  {
    const test::AllocationLimit outOfMemory(test::kBlockLimitBytes);
    ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, nullptr));
    waitForEnd(worker);
  }
  EXPECT_TRUE(logged("[ERR] scan aborted: std::bad_alloc\n"));
  const ScanSummary summary = worker.getLastSummary();
  EXPECT_TRUE(
      logged("[INF] scan finished: files=0 threats=0 ms=" + std::to_string(summary.elapsedMs) + "\n"));
  EXPECT_EQ(worker.getProgress().phase, L"cancelled");
  EXPECT_EQ(worker.getProgress().filesTotal, 2u);
  EXPECT_TRUE(summary.cancelled);
  EXPECT_EQ(summary.filesScanned, 0u);
  EXPECT_EQ(summary.threats, 0u);
  EXPECT_EQ(savedSettings().lastThreatCount, 0u);
  EXPECT_GT(savedSettings().lastScanUtc, 77u);

  ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, nullptr)) << "the next one starts";
  waitForEnd(worker);
  EXPECT_EQ(worker.getLastSummary().filesScanned, 2u);
}

// The scanner forgets it when it begins to scan.
TEST_F(ScanJobTest, ACancelWhileFilesAreCountedShortensNeitherTheCountNorTheScan) {
  constexpr uint64_t kFiles = 1'000;
  for (uint64_t i = 0; i < kFiles; ++i) folder_.write(std::to_wstring(i) + L".exe", "");
  ScanWorker& worker = startWorker();
  bool counting = false;
  for (int attempt = 0; attempt < 50 && !counting; ++attempt) {
    ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, nullptr));
    ASSERT_TRUE(test::eventually([&] { return worker.getProgress().phase != L"preparing"; }));
    EXPECT_FALSE(worker.cancelScan());
    counting = worker.getProgress().phase == L"counting";
    waitForEnd(worker);
    if (counting) {
      EXPECT_EQ(worker.getProgress().filesTotal, kFiles);
      EXPECT_EQ(worker.getProgress().filesDone, kFiles);
      EXPECT_EQ(worker.getLastSummary().filesScanned, kFiles);
    }
  }
  EXPECT_TRUE(counting) << "no cancel came during the counting";
}

std::atomic<int> begunInBackground{0};

BOOL WINAPI noteBackground(HANDLE, int priority) {
  if (priority == THREAD_MODE_BACKGROUND_BEGIN) ++begunInBackground;
  return TRUE;
}

TEST_F(ScanJobTest, OnlyTheScheduledScanMakesWayForOtherPrograms) {
  startWorker();  // makes the data directory
  FileCalls calls = FileCalls::windows();
  calls.setThreadPriority = noteBackground;
  SettingsInForce settings([](const SettingsFields&) {});
  SignaturesInForce signatures;
  std::string error;
  auto database = std::make_shared<SignatureDatabase>();
  ASSERT_TRUE(database->loadFile(seed_, &error)) << error;
  signatures.replace(database);
  folder_.write(L"a\\clean.exe", "x");

  begunInBackground = 0;
  {
    ScanJob job(settings, signatures, {}, calls);
    ASSERT_TRUE(job.start(ScanScope::kCustom, {folder_.path()}, &error)) << error;
    job.join();
    EXPECT_EQ(begunInBackground, 0);
  }
  StopSource stop;
  ScanJob job(settings, signatures, stop.get_token(), calls);
  ASSERT_TRUE(job.startScheduled(&error)) << error;
  EXPECT_TRUE(test::eventually([] { return begunInBackground > 0; }));
  stop.request_stop();
  job.join();
}

}  // namespace
}  // namespace korvel::svc

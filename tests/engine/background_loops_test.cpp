// When the live update and the web shield run by themselves, with periods of milliseconds, and what the
// engine makes of how they end. Unless a test says otherwise, no server answers at the addresses, so
// only the log changes.
#include <gtest/gtest.h>

#include <atomic>

#include "base/files.h"
#include "config/data_paths.h"
#include "engine/engine_fixture.h"
#include "support/allocation_meter.h"
#include "support/import_patch.h"
#include "support/silent_server.h"
#include "support/sparse_file.h"

namespace korvel::svc {
namespace {

constexpr char kNobodyThere[] = "http://127.0.0.1:1";
constexpr char kUpdateFailed[] = "[WRN] live update failed: WinHttpSendRequest, win32=12029\n";
constexpr char kShieldFailed[] = "[WRN] web shield: domain feed failed: WinHttpSendRequest, win32=12029\n";
constexpr uint32_t kNever = 86'400'000;
constexpr uint64_t kHour = 3'600'000;

/// A clock that the test sets, as sleep does it.
std::atomic<uint64_t> testClock{0};
uint64_t readTestClock() { return testClock; }

/// Five minutes past four, in UTC.
void WINAPI fivePastFour(FILETIME* time) {
  SYSTEMTIME moment{};
  moment.wYear = 2026;
  moment.wMonth = 11;
  moment.wDay = 22;
  moment.wHour = 4;
  moment.wMinute = 5;
  ::SystemTimeToFileTime(&moment, time);
}

class BackgroundLoopsTest : public test::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    settings_.updateServer = kNobodyThere;
  }
};

TEST(LoopTimes, AreTheProductsPeriods) {
  const LoopTimes times;
  EXPECT_EQ(times.schedulePollMs, 60'000u);
  EXPECT_EQ(times.updateTickMs, 1'000u);
  EXPECT_EQ(times.firstWebShieldMs, 30'000u);
  EXPECT_EQ(times.webShieldPeriodMs, 24u * 60 * 60 * 1'000);
  EXPECT_EQ(times.longestLookMs, 60'000u);
  EXPECT_EQ(times.clockMs, millisecondsWithSleep);
}

// --- daily scan ---

TEST_F(BackgroundLoopsTest, AScheduleSwitchedOnAtRunTimeWaitsForTheRestart) {
  const test::ImportPatch clock("GetSystemTimePreciseAsFileTime", fivePastFour);
  constexpr char kSkipped[] = "[WRN] scheduled scan skipped: protection is disabled\n";
  settings_.scheduledHour = 4;
  settings_.protectionEnabled = false;  // so that the attempt is a line in the log and no scan
  ScanWorker& worker = startWorker({.schedulePollMs = 1});
  SettingsFields changed = worker.getSettings();
  changed.scheduledScan = true;
  EXPECT_TRUE(worker.applySettings(changed, nullptr));
  ::Sleep(300);
  EXPECT_FALSE(logged(kSkipped));

  worker_.reset();
  settings_.scheduledScan = true;
  startWorker({.schedulePollMs = 1});
  EXPECT_TRUE(logGets(kSkipped));
}

// --- exceptions ---

TEST_F(BackgroundLoopsTest, AnExceptionInEachLoopIsItsLineInTheLogAndTheLoopGoesOn) {
  settings_.updateServer = std::string(100'000, 'x');  // a copy of the settings does not fit into the limit
  settings_.scheduledScan = settings_.realTimeEnabled = settings_.liveUpdates = settings_.webShield = true;
  {
    const test::AllocationLimit limit(50'000, test::AllocationLimit::Threads::kOthers);
    startWorker({.schedulePollMs = 20,
                 .updateTickMs = 1,
                 .firstWebShieldMs = 20,
                 .webShieldPeriodMs = 20,
                 .longestLookMs = 20,
                 .clockMs = readTestClock});
    const auto shieldIsDue = [] { testClock += 1'000; };
    EXPECT_TRUE(logGets("[ERR] scan aborted: std::bad_alloc\n"));
    EXPECT_TRUE(logGets("[WRN] scheduled scan skipped: std::bad_alloc\n", 2));
    EXPECT_TRUE(test::eventually([&] {
      shieldIsDue();
      return logCount("[WRN] web shield: domain feed failed: std::bad_alloc\n") >= 2;
    }));
    EXPECT_TRUE(logGets("[WRN] live update failed: std::bad_alloc\n"));
  }
  // There is memory again. The address is refused, in a text of its own.
  const auto goesOn = [](const std::string& line) {
    return logCount(line) > logCount(line + "std::bad_alloc\n");
  };
  testClock += 25 * kHour;
  EXPECT_TRUE(test::eventually([&] {
    testClock += 1'000;
    return goesOn("[WRN] live update failed: ") && goesOn("[WRN] web shield: domain feed failed: ");
  })) << log();
  worker_->stop();
  EXPECT_TRUE(logged("[INF] workers stopped\n"));
}

// --- live update ---

TEST_F(BackgroundLoopsTest, AFailingFeedIsWarnedOfOncePerPeriod) {
  settings_.liveUpdates = true;
  startWorker({.updateTickMs = 1});
  EXPECT_TRUE(logGets(kUpdateFailed));
  ::Sleep(300);  // many more ticks, far fewer than a period
  EXPECT_EQ(logCount("live update failed: "), 1);
}

TEST_F(BackgroundLoopsTest, TheFirstUpdateComesAfterSixtyTicksAndNotAtOnce) {
  settings_.liveUpdates = true;
  settings_.webShield = true;
  // The shield's run says that some ticks have passed; sixty of them have not.
  startWorker({.updateTickMs = 200, .firstWebShieldMs = 2'000});
  EXPECT_TRUE(logGets(kShieldFailed));
  EXPECT_EQ(logCount("live update failed: "), 0);
}

TEST_F(BackgroundLoopsTest, AServiceStoppedWithinItsFirstMinuteMakesNoLiveUpdate) {
  settings_.liveUpdates = true;
  ScanWorker& worker = startWorker({});
  worker.stop();
  EXPECT_EQ(logCount("live update"), 0);
}

TEST_F(BackgroundLoopsTest, WithLiveUpdatesOffTheTicksPassWithoutAFetch) {
  settings_.webShield = true;
  startWorker({.updateTickMs = 1, .firstWebShieldMs = 2'000});
  EXPECT_TRUE(logGets(kShieldFailed)) << "sixty ticks have passed long since";
  EXPECT_EQ(logCount("live update failed: "), 0);
}

TEST_F(BackgroundLoopsTest, LiveUpdatesSwitchedOnTakeEffectAtTheNextDueTick) {
  ScanWorker& worker = startWorker({.updateTickMs = 50});
  SettingsFields changed = worker.getSettings();
  changed.liveUpdates = true;
  EXPECT_TRUE(worker.applySettings(changed, nullptr));
  EXPECT_TRUE(logGets(kUpdateFailed));
}

TEST_F(BackgroundLoopsTest, TheAutomaticUpdateIsNotBusyAndARequestedOneRunsBesideIt) {
  test::SilentServer server;
  settings_.updateServer = server.url();
  settings_.liveUpdates = true;
  ScanWorker& worker = startWorker({.updateTickMs = 1});
  ASSERT_TRUE(server.takeClient());
  EXPECT_FALSE(worker.getStatus().liveUpdateRunning);

  std::string error;
  EXPECT_TRUE(worker.startLiveUpdate(&error)) << error;
  EXPECT_TRUE(worker.getStatus().liveUpdateRunning);
  EXPECT_TRUE(server.takeClient()) << "both have asked, neither is answered";
  EXPECT_FALSE(worker.startLiveUpdate(&error));
  EXPECT_EQ(error, "обновление уже выполняется");

  server.hangUp();
  EXPECT_TRUE(logGets("[WRN] live update failed: "));
  EXPECT_TRUE(test::eventually([&] { return !worker.getStatus().liveUpdateRunning; }));
  EXPECT_EQ(logCount("live update failed: "), 1) << "the requested one tells its client and not the log";
}

TEST_F(BackgroundLoopsTest, AFetchedDatabaseThatCannotBeLoadedIsAWarningAndStillASuccess) {
  // A seed file without entries that takes a while to read, so that the new live database can be locked.
  settings_.signatureDb = test::sparseFile(folder_.at(L"long"), int64_t{256} << 20);
  test::SilentServer server;
  settings_.updateServer = server.url();
  ScanWorker& worker = startWorker({});
  std::string error;
  ASSERT_TRUE(worker.startLiveUpdate(&error)) << error;
  ASSERT_TRUE(server.takeClient());
  server.answer(std::string(64, 'b') + "\n");
  {
    UniqueHandle lock;
    while (!lock && worker.getStatus().liveUpdateRunning) {
      lock.reset(::CreateFileW(liveSignaturesPath().c_str(), GENERIC_READ, /*share=*/0, /*security=*/nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr));
    }
    ASSERT_TRUE(lock) << ::GetLastError();
    EXPECT_TRUE(test::eventually([&] { return !worker.getStatus().liveUpdateRunning; }));
  }
  EXPECT_EQ(logCount("[WRN] live db fetched but reload failed: database is empty\n"), 1);
  EXPECT_EQ(logCount("[INF] live signatures updated: 1 hashes\n"), 1);
  EXPECT_EQ(logCount("signatures reloaded"), 0);
  EXPECT_NE(worker.getSettings().lastLiveUpdateUtc, 0u);
  EXPECT_TRUE(test::readFile(liveSignaturesPath()).ends_with("SIZE 1\n" + std::string(64, 'b') + "\n"));
}

TEST_F(BackgroundLoopsTest, AnAutomaticUpdateThatAStopCutsShortLogsNothing) {
  test::SilentServer server;
  settings_.updateServer = server.url();
  settings_.liveUpdates = true;
  ScanWorker& worker = startWorker({.updateTickMs = 1});
  ASSERT_TRUE(server.takeClient());
  worker.stop();
  EXPECT_EQ(logCount("live update"), 0);
}

TEST_F(BackgroundLoopsTest, AnUpdateWhoseDayEndedWhileTheMachineSleptComesSoonAfterIt) {
  settings_.liveUpdates = true;
  startWorker({.updateTickMs = 1, .clockMs = readTestClock});
  EXPECT_TRUE(logGets(kUpdateFailed));
  testClock += 23 * kHour;
  ::Sleep(300);
  EXPECT_EQ(logCount("live update failed: "), 1);
  testClock += 2 * kHour;
  EXPECT_TRUE(test::eventually([&] {
    testClock += 1'000;
    return logCount(kUpdateFailed) >= 2;
  }));
}

// --- web shield ---

TEST_F(BackgroundLoopsTest, TheShieldRunsAgainAfterEachPeriod) {
  settings_.webShield = true;
  startWorker({.firstWebShieldMs = 1, .webShieldPeriodMs = 1});
  EXPECT_TRUE(logGets(kShieldFailed, 3));
}

TEST_F(BackgroundLoopsTest, TheShieldsFirstRunHasATimeOfItsOwn) {
  settings_.webShield = true;
  startWorker({.firstWebShieldMs = 1, .webShieldPeriodMs = kNever});
  EXPECT_TRUE(logGets(kShieldFailed));
  ::Sleep(300);
  EXPECT_EQ(logCount("web shield: "), 1);
}

TEST_F(BackgroundLoopsTest, AShieldWhosePeriodEndedWhileTheMachineSleptRunsSoonAfterIt) {
  settings_.webShield = true;
  startWorker(
      {.firstWebShieldMs = 0, .webShieldPeriodMs = kNever, .longestLookMs = 5, .clockMs = readTestClock});
  EXPECT_TRUE(logGets(kShieldFailed));
  testClock += 23 * kHour;
  ::Sleep(300);
  EXPECT_EQ(logCount("web shield: "), 1);
  testClock += 2 * kHour;
  EXPECT_TRUE(test::eventually([&] {
    testClock += 1'000;
    return logCount(kShieldFailed) >= 2;
  }));
}

TEST_F(BackgroundLoopsTest, SwitchingTheShieldWakesItAndOtherSettingsDoNot) {
  ScanWorker& worker = startWorker({.firstWebShieldMs = kNever, .webShieldPeriodMs = kNever});
  SettingsFields changed = worker.getSettings();
  changed.scanArchives = !changed.scanArchives;
  worker.applySettings(changed, nullptr);
  ::Sleep(300);
  EXPECT_EQ(logCount("web shield: "), 0);
  for (int run = 1; run <= 2; ++run) {
    changed.webShield = true;
    worker.applySettings(changed, nullptr);
    EXPECT_TRUE(logGets(kShieldFailed, run));
    changed.webShield = false;
    worker.applySettings(changed, nullptr);
  }
}

TEST_F(BackgroundLoopsTest, AShieldThatAStopCutsShortLogsNothing) {
  test::SilentServer server;
  settings_.updateServer = server.url();
  settings_.webShield = true;
  ScanWorker& worker = startWorker({.firstWebShieldMs = 1});
  ASSERT_TRUE(server.takeClient());
  worker.stop();
  EXPECT_EQ(logCount("web shield: "), 0);
}

TEST_F(BackgroundLoopsTest, AWaitingShieldDoesNotHoldUpAStop) {
  ScanWorker& worker = startWorker({.firstWebShieldMs = kNever, .webShieldPeriodMs = kNever});
  worker.stop();
  EXPECT_EQ(logCount("[INF] workers stopped\n"), 1);
}

}  // namespace
}  // namespace korvel::svc

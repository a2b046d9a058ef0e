// When the live update and the web shield run by themselves, with periods of milliseconds, and what the
// engine makes of how they end. Where nothing else is said nobody answers at the addresses, so that nothing
// but the log is touched.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "base/files.h"
#include "config/data_paths.h"
#include "config/settings_file.h"
#include "engine/scan_worker.h"
#include "service/runtime/log.h"
#include "support/silent_server.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

constexpr char kNobodyThere[] = "http://127.0.0.1:1";
constexpr char kUpdateFailed[] = "[WRN] live update failed: WinHttpSendRequest, win32=12029\n";
constexpr char kShieldFailed[] = "[WRN] web shield: domain feed failed: WinHttpSendRequest, win32=12029\n";
constexpr DWORD kLimitMs = 60'000;
constexpr uint32_t kNever = 86'400'000;

bool eventually(const std::function<bool()>& done) {
  const ULONGLONG end = ::GetTickCount64() + kLimitMs;
  while (!done()) {
    if (::GetTickCount64() > end) return false;
    ::Sleep(10);
  }
  return true;
}

class BackgroundLoops : public testing::Test {
 protected:
  void SetUp() override {
    removeData();
    settings_.signatureDb = folder_.write(L"seed.txt", "KORVELDB/1\n" + std::string(64, 'a') + "\n");
    settings_.realTimeEnabled = false;
    settings_.scheduledScan = false;
    settings_.webShield = false;
    settings_.liveUpdates = false;
    settings_.updateServer = kNobodyThere;
  }
  void TearDown() override {
    worker_.reset();
    removeData();
  }
  static void removeData() {
    Log::instance().open(L"NUL");  // lets go of the log file of the test before
    test::removeTree(dataDir());
    test::removeTree(scanCachePath());
  }

  ScanWorker& startWorker(const LoopTimes& times) {
    writeSettingsFile(settings_, settingsPath());
    worker_ = std::make_unique<ScanWorker>(times);
    std::string error;
    EXPECT_TRUE(worker_->init(&error)) << error;
    EXPECT_TRUE(worker_->start(&error)) << error;
    return *worker_;
  }

  static int logCount(const std::string& line) {
    const std::string text = test::readFile(logPath());
    int count = 0;
    for (size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++count;
    return count;
  }
  static bool logGets(const std::string& line, int count = 1) {
    return eventually([&] { return logCount(line) >= count; });
  }

  test::TempFolder folder_;
  Settings settings_;
  std::unique_ptr<ScanWorker> worker_;
};

TEST(LoopTimes, AreTheProductsPeriods) {
  const LoopTimes times;
  EXPECT_EQ(times.schedulePollMs, 60'000u);
  EXPECT_EQ(times.updateTickMs, 1'000u);
  EXPECT_EQ(times.firstWebShieldMs, 30'000u);
  EXPECT_EQ(times.webShieldPeriodMs, 24u * 60 * 60 * 1'000);
}

// --- live update ---

TEST_F(BackgroundLoops, AFailingFeedIsWarnedOfOncePerPeriod) {
  settings_.liveUpdates = true;
  startWorker({.updateTickMs = 1});
  EXPECT_TRUE(logGets(kUpdateFailed));
  ::Sleep(300);  // many more ticks, far fewer than a period
  EXPECT_EQ(logCount("live update failed: "), 1);
}

TEST_F(BackgroundLoops, TheFirstUpdateComesAfterSixtyTicksAndNotAtOnce) {
  settings_.liveUpdates = true;
  settings_.webShield = true;
  // The shield's run says that some ticks have passed; sixty of them have not.
  startWorker({.updateTickMs = 200, .firstWebShieldMs = 2'000});
  EXPECT_TRUE(logGets(kShieldFailed));
  EXPECT_EQ(logCount("live update failed: "), 0);
}

TEST_F(BackgroundLoops, AServiceStoppedWithinItsFirstMinuteMakesNoLiveUpdate) {
  settings_.liveUpdates = true;
  ScanWorker& worker = startWorker({});
  worker.stop();
  EXPECT_EQ(logCount("live update"), 0);
}

TEST_F(BackgroundLoops, WithLiveUpdatesOffTheTicksPassWithoutAFetch) {
  settings_.webShield = true;
  startWorker({.updateTickMs = 1, .firstWebShieldMs = 2'000});
  EXPECT_TRUE(logGets(kShieldFailed)) << "sixty ticks have passed long since";
  EXPECT_EQ(logCount("live update failed: "), 0);
}

TEST_F(BackgroundLoops, LiveUpdatesSwitchedOnTakeEffectAtTheNextDueTick) {
  ScanWorker& worker = startWorker({.updateTickMs = 50});
  Settings changed = worker.getSettings();
  changed.liveUpdates = true;
  EXPECT_TRUE(worker.applySettings(changed, nullptr));
  EXPECT_TRUE(logGets(kUpdateFailed));
}

TEST_F(BackgroundLoops, TheAutomaticUpdateIsNotBusyAndARequestedOneRunsBesideIt) {
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
  EXPECT_TRUE(eventually([&] { return !worker.getStatus().liveUpdateRunning; }));
  EXPECT_EQ(logCount("live update failed: "), 1) << "the requested one tells its client and not the log";
}

TEST_F(BackgroundLoops, AFetchedDatabaseThatCannotBeLoadedIsAWarningAndStillASuccess) {
  // A pipe in the place of the seed file holds the reload up while the new live database is locked.
  settings_.signatureDb = L"\\\\.\\pipe\\korvel-test-seed";
  test::SilentServer server;
  settings_.updateServer = server.url();
  ScanWorker& worker = startWorker({});
  const UniqueHandle seed(::CreateNamedPipeW(settings_.signatureDb.c_str(), PIPE_ACCESS_OUTBOUND,
                                             PIPE_TYPE_BYTE,
                                             /*instances=*/1, 4096, 4096, /*defaultTimeout=*/0,
                                             /*security=*/nullptr));
  ASSERT_TRUE(seed);
  std::string error;
  ASSERT_TRUE(worker.startLiveUpdate(&error)) << error;
  ASSERT_TRUE(server.takeClient());
  server.answer(std::string(64, 'b') + "\n");
  ASSERT_TRUE(::ConnectNamedPipe(seed.get(), /*overlapped=*/nullptr) ||
              ::GetLastError() == ERROR_PIPE_CONNECTED);
  {
    const UniqueHandle lock(::CreateFileW(liveSignaturesPath().c_str(), GENERIC_READ, /*share=*/0,
                                          /*security=*/nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                          /*template=*/nullptr));
    ASSERT_TRUE(lock) << ::GetLastError();
    ::DisconnectNamedPipe(seed.get());
    EXPECT_TRUE(eventually([&] { return !worker.getStatus().liveUpdateRunning; }));
  }
  EXPECT_EQ(
      logCount("[WRN] live db fetched but reload failed: parse error in \\\\.\\pipe\\korvel-test-seed\n"), 1);
  EXPECT_EQ(logCount("[INF] live signatures updated: 1 hashes\n"), 1);
  EXPECT_EQ(logCount("signatures reloaded"), 0);
  EXPECT_NE(worker.getSettings().lastLiveUpdateUtc, 0u);
  EXPECT_TRUE(test::readFile(liveSignaturesPath()).ends_with("SIZE 1\n" + std::string(64, 'b') + "\n"));
}

// --- web shield ---

TEST_F(BackgroundLoops, TheShieldRunsAgainAfterEachPeriod) {
  settings_.webShield = true;
  startWorker({.firstWebShieldMs = 1, .webShieldPeriodMs = 1});
  EXPECT_TRUE(logGets(kShieldFailed, 3));
}

TEST_F(BackgroundLoops, TheShieldsFirstRunHasATimeOfItsOwn) {
  settings_.webShield = true;
  startWorker({.firstWebShieldMs = 1, .webShieldPeriodMs = kNever});
  EXPECT_TRUE(logGets(kShieldFailed));
  ::Sleep(300);
  EXPECT_EQ(logCount("web shield: "), 1);
}

TEST_F(BackgroundLoops, SwitchingTheShieldWakesItAndOtherSettingsDoNot) {
  ScanWorker& worker = startWorker({.firstWebShieldMs = kNever, .webShieldPeriodMs = kNever});
  Settings changed = worker.getSettings();
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

TEST_F(BackgroundLoops, AWaitingShieldDoesNotHoldUpAStop) {
  ScanWorker& worker = startWorker({.firstWebShieldMs = kNever, .webShieldPeriodMs = kNever});
  worker.stop();
  EXPECT_EQ(logCount("[INF] workers stopped\n"), 1);
}

}  // namespace
}  // namespace korvel::svc

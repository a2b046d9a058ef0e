// The running service and a minifilter driver that the test plays.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <future>
#include <set>

#include "base/files.h"
#include "base/utf.h"
#include "e2e/driver_fixture.h"
#include "e2e/sample_files.h"
#include "e2e/service_manager.h"

namespace korvel::test {
namespace {

class Driver : public DriverTest {};

TEST_F(Driver, WhenPresentProtectsThroughTheKernel) {
  startWithDriver();
  EXPECT_TRUE(logGets("[INF] minifilter connected, kernel protection active\n"));
  EXPECT_TRUE(status().minifilterConnected);
}

TEST_F(Driver, WhenAbsentIsOnlyANote) {
  startService();
  EXPECT_TRUE(
      logGets("[INF] minifilter unavailable (фильтр-драйвер недоступен (hr=0x80070002)), using userspace "
              "realtime\n"));
  EXPECT_FALSE(status().minifilterConnected);
}

TEST_F(Driver, HighSeverityIsBlockedAndBecomesAnEvent) {
  const std::wstring bad = folder().write(L"eicar.com", eicarText());
  startWithDriver();
  EXPECT_EQ(driver_->ask(bad, 1), false);
  const ScanReport now = progress();
  ASSERT_EQ(now.events.size(), 1u);
  EXPECT_EQ(now.events[0].path, bad);
  EXPECT_EQ(status().minifilterHandled, 1u);
  EXPECT_TRUE(progress().events.empty());
}

TEST_F(Driver, MediumSeverityIsAllowedAndMakesNoEventThoughAScanListsIt) {
  const std::wstring medium = folder().write(L"Downloads\\tool.exe", "x");
  startWithDriver();
  EXPECT_EQ(driver_->ask(medium, 1), true);
  EXPECT_TRUE(progress().events.empty());
  scan({folder().path()});
  ASSERT_EQ(results().size(), 1u);
  EXPECT_EQ(results()[0].path, medium);
}

TEST_F(Driver, CleanAndMissingFilesAreAllowed) {
  const std::wstring clean = folder().write(L"clean.exe", "x");
  startWithDriver();
  EXPECT_EQ(driver_->ask(clean, 1), true);
  EXPECT_EQ(driver_->ask(folder().at(L"missing.exe"), 2), true);
  EXPECT_EQ(driver_->ask(std::wstring(512, L'x'), 3), true);
  EXPECT_EQ(status().minifilterHandled, 3u);
}

TEST_F(Driver, WithoutADatabaseEverythingIsAllowedAndKeepAlivesAnswered) {
  writeSettings("SignatureDb=C:\\missing.txt\n");
  const std::wstring bad = folder().write(L"invoice.pdf.exe", "x");
  startWithDriver();
  EXPECT_EQ(driver_->ask(bad, 1), true);
  DriverMessage keepAlive;
  keepAlive.type = 3;
  ASSERT_TRUE(driver_->send(keepAlive));
  const auto answer = driver_->receive(10'000);
  ASSERT_TRUE(answer);
  EXPECT_EQ((*answer)[32], 0);
}

TEST_F(Driver, ThatSendsMalformedMessagesGetsNoAnswerToThem) {
  startWithDriver();
  const std::vector<DriverMessage> malformed = {
      {.magic = {'L', 'V', 'R', 'K'}},      {.version = 2},  {.type = 4}, {.length = 1'061},
      {.length = 1'055, .bodySize = 1'055}, {.bodySize = 15}};
  for (const DriverMessage& message : malformed) ASSERT_TRUE(driver_->send(message));
  EXPECT_FALSE(driver_->receive(300));
  EXPECT_EQ(driver_->ask(folder().at(L"missing.exe"), 1), true);
  EXPECT_EQ(status().minifilterHandled, 1u);
}

TEST_F(Driver, ThatGoesAwayIsShownInTheStatus) {
  startWithDriver();
  ASSERT_TRUE(status().minifilterConnected);
  driver_->unload();
  EXPECT_TRUE(eventually([this] { return !status().minifilterConnected; }));
}

TEST_F(Driver, OneMoreMessageLetsTheServiceStop) {
  startWithDriver();
  EXPECT_EQ(reply(ipc::Opcode::kStopService), "");
  EXPECT_FALSE(service().waitForExit(500));  // the link waits for the driver's next message
  // Whether a message is the one more depends on when the link's stop began, so the driver goes on until the
  // end.
  const bool ended = eventually([this] {
    (void)driver_->ask(folder().at(L"missing.exe"), 1, 100);
    return service().waitForExit(0).has_value();
  });
  ASSERT_TRUE(ended);
  EXPECT_EQ(service().waitForExit(0), 0u);
}

TEST_F(Driver, ASilentOneKeepsTheServiceStopPendingWithTheCheckPointOfBothReports) {
  driver_.emplace();
  RegisteredService managed;
  ASSERT_TRUE(managed.start());
  ASSERT_EQ(managed.waitFor(SERVICE_RUNNING).back().dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
  ASSERT_TRUE(driver_->waitForService(10'000));
  ASSERT_TRUE(managed.control(SERVICE_CONTROL_STOP));
  // From the control handler, and from the service's thread once no client is served any more.
  ASSERT_TRUE(eventually([&] { return managed.status().dwCheckPoint == 2; }));
  const SERVICE_STATUS_PROCESS pending = managed.status();
  EXPECT_EQ(pending.dwCurrentState, static_cast<DWORD>(SERVICE_STOP_PENDING));
  EXPECT_EQ(pending.dwControlsAccepted, 0u);
  EXPECT_EQ(pending.dwWaitHint, 30'000u);
  EXPECT_EQ(pending.dwWin32ExitCode, 0u);
  for (const DWORD control : {SERVICE_CONTROL_INTERROGATE, SERVICE_CONTROL_STOP}) {
    EXPECT_FALSE(managed.control(control));
    EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SERVICE_CANNOT_ACCEPT_CTRL)) << control;
  }
  EXPECT_EQ(managed.status().dwCheckPoint, 2u);
  EXPECT_EQ(logMentions("stop requested"), 1);
  EXPECT_EQ(driver_->ask(folder().at(L"missing.exe"), 1), true);
  // As above: a message that came before the stop of the link did not let it end.
  (void)eventually([&] {
    if (managed.status().dwCurrentState == SERVICE_STOPPED) return true;
    (void)driver_->ask(folder().at(L"missing.exe"), 1, 100);
    return false;
  });
  const SERVICE_STATUS_PROCESS stopped = managed.waitFor(SERVICE_STOPPED).back();
  EXPECT_EQ(stopped.dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
  EXPECT_EQ(stopped.dwWin32ExitCode, 0u);
}

/// Runs everything that reads the database while it is replaced every few milliseconds.
class Reloads : public Driver {
 protected:
  static constexpr DWORD kDurationMs = 8'000;
  static constexpr int kHarmless = 300;
  static constexpr int kListed = 40;
  static constexpr wchar_t kWatched[] = L"C:\\Users\\korvel-reload";

  void SetUp() override {
    Driver::SetUp();
    removeTree(kWatched);
    // Large enough for a reload to take some time.
    std::string signatures = eicarSignatures();
    char digest[65];
    for (unsigned i = 0; i < 5'000; ++i) {
      std::snprintf(digest, sizeof digest, "%08x%056x", i * 2'654'435'761u, i);
      signatures.append(digest).append("\n");
    }
    writeSettings("RealTimeEnabled=1\nSignatureDb=" + toUtf8(folder().write(L"signatures.txt", signatures)) +
                  "\n");
    for (int i = 0; i < kHarmless; ++i) folder().write(L"in\\h" + std::to_wstring(i) + L".exe", "harmless");
    for (int i = 0; i < kListed; ++i) folder().write(L"in\\l" + std::to_wstring(i) + L".com", eicarText());
  }
  void TearDown() override {
    Driver::TearDown();
    removeTree(kWatched);
  }

  /// Asks about a listed and a harmless file in turn until `end`; returns the number of wrong answers.
  int askDriver(const std::atomic<bool>& end) {
    int wrong = 0;
    for (uint64_t id = 1; !end; id += 2) {
      wrong += driver_->ask(folder().at(L"in\\l0.com"), id) == false ? 0 : 1;
      wrong += driver_->ask(folder().at(L"in\\h0.exe"), id + 1) == true ? 0 : 1;
    }
    return wrong;
  }
  static void touch(const std::wstring& path) {
    try {
      writeFile(path, eicarText());
    } catch (const std::exception&) {
      // being read at this moment
    }
    ::Sleep(20);
  }
  /// Makes listed files below the watched tree until `end`; returns their paths.
  static std::set<std::wstring> makeFiles(const std::atomic<bool>& end) {
    std::set<std::wstring> made;
    while (!end) {
      const std::wstring path = std::wstring(kWatched) + L"\\" + std::to_wstring(made.size()) + L".com";
      writeFile(path, eicarText());
      made.insert(path);
      ::Sleep(20);
    }
    return made;
  }
};

TEST_F(Reloads, UnderAScanTheWatcherAndTheDriverChangeNoVerdict) {
  startWithDriver();
  ASSERT_TRUE(logGets("realtime=on)\n"));
  ::Sleep(500);  // the watcher is armed
  std::atomic<bool> end{false};
  auto wrongAnswers = std::async(std::launch::async, [&] { return askDriver(end); });
  auto madeFiles = std::async(std::launch::async, [&] { return makeFiles(end); });
  std::set<std::wstring> reported;
  int reloads = 0;
  int scans = 0;
  Client client;
  client.connect();
  const ULONGLONG started = ::GetTickCount64();
  while (::GetTickCount64() - started < kDurationMs && service().running()) {
    EXPECT_EQ(client.request(13), (Reply{13, ""}));
    ++reloads;
    const ScanReport now = ipc::decodeProgress(client.request(4).payload).value();
    for (const ThreatEvent& event : now.events) reported.insert(event.path);
    if (now.scanning) continue;
    if (scans > 0) {
      EXPECT_EQ(now.lastSummary.threats, static_cast<uint64_t>(kListed));
      EXPECT_EQ(now.lastSummary.filesScanned, static_cast<uint64_t>(kListed + kHarmless));
    }
    EXPECT_EQ(client.request(3, ipc::encodeStartScan({ScanScope::kCustom, {folder().at(L"in")}})),
              (Reply{3, ""}));
    ++scans;
  }
  client.disconnect();
  end = true;
  EXPECT_EQ(wrongAnswers.get(), 0);
  std::set<std::wstring> made = madeFiles.get();
  // The watcher reads a file that was still being written only at its next change.
  EXPECT_TRUE(eventually(20'000, [&] {
    for (const ThreatEvent& event : progress().events) reported.insert(event.path);
    for (const std::wstring& path : made) {
      if (reported.count(path) == 0) touch(path);
    }
    return std::includes(reported.begin(), reported.end(), made.begin(), made.end());
  }));
  made.insert(folder().at(L"in\\l0.com"));
  EXPECT_EQ(reported, made);
  waitForScanEnd();
  std::printf("%d reloads, %d scans, %llu queries, %zu watched files\n", reloads, scans,
              static_cast<unsigned long long>(status().minifilterHandled), made.size());
  EXPECT_GT(reloads, 50);
  EXPECT_GT(scans, 3);
  EXPECT_GT(made.size(), 10u);
  EXPECT_EQ(log().find("crash:"), std::string::npos);
  EXPECT_EQ(log().find("scan aborted"), std::string::npos);
}

}  // namespace
}  // namespace korvel::test

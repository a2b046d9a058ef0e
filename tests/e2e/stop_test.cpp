// The service ends quickly and cleanly whatever it is doing, and its client always learns of it.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/utf.h"
#include "e2e/machine.h"
#include "e2e/own_console.h"
#include "e2e/sample_files.h"
#include "e2e/service_manager.h"
#include "e2e/service_test.h"
#include "support/silent_server.h"

namespace korvel::test {
namespace {

// What the service promises, from the stop request to the end of the process.
constexpr DWORD kUsualStopMs = 1'000;
constexpr DWORD kSlowestStopMs = 2'000;
constexpr DWORD kLimitMs = 60'000;
constexpr DWORD kPhaseLimitMs = 20'000;
constexpr unsigned kLongSignatures = 600'000;
constexpr int kPollsOfAFullPipe = 10;
constexpr int kReplyRoundsPerStop = 5;
/// On a slow disk each of these waits for its flush: the scan cache, the settings after a scan and at the
/// end.
constexpr DWORD kMostFlushes = 3;
// How late the client reads the answer to its stop request, in turn.
constexpr DWORD kReadDelaysMs[] = {0, 0, 1, 0, 5, 20, 0, 0, 100, 300};

class Stop : public ServiceTest {
 protected:
  void SetUp() override {
    useOwnConsole();
    ServiceTest::SetUp();
    if (amountFrom("KORVEL_SILENT_SERVER", 0) != 0) {
      silent_.emplace();
      writeSettings("UpdateServer=" + silent_->url() + "\n");
    }
  }

  /// Asks for the stop by `ask` and waits for the clean end; keeps the time that it took.
  void stopTimed(const std::function<void()>& ask) {
    const ULONGLONG asked = ::GetTickCount64();
    ask();
    ASSERT_NO_FATAL_FAILURE(expectCleanEnd(kLimitMs));
    times_.push_back(static_cast<DWORD>(::GetTickCount64() - asked));
  }
  /// Repeats: start, `prepare` brings the service into its phase, stop.
  void expectPromptStops(const std::function<void()>& prepare, const std::function<void()>& ask) {
    for (int i = 0; i < stopCount(); ++i) {
      startServiceInConsole();
      if (silent_) {
        ASSERT_NO_FATAL_FAILURE(askForUpdates(*silent_));
      }
      ASSERT_NO_FATAL_FAILURE(prepare());
      ASSERT_NO_FATAL_FAILURE(stopTimed(ask));
      held_.disconnect();
    }
    expectPromptTimes();
  }
  void expectPromptTimes() {
    ASSERT_FALSE(times_.empty());
    std::sort(times_.begin(), times_.end());
    const DWORD median = times_[times_.size() / 2];
    const std::string phase = testing::UnitTest::GetInstance()->current_test_info()->name();
    std::printf("stopped %zu times: median %lu ms, slowest %lu ms\n", times_.size(), median, times_.back());
    std::printf("row: %s\t%zu\t%lu\t%lu\n", phase.c_str(), times_.size(), median, times_.back());
    showFigure(phase, times_.size(), "stops");
    EXPECT_LT(median, kUsualStopMs + flushMs());
    EXPECT_LE(times_.back(), kSlowestStopMs + flushMs());
    EXPECT_EQ(log().find("crash:"), std::string::npos);
  }
  /// What a slow disk may add to a stop (tests/engine/driver/slow_disk.cpp).
  static DWORD flushMs() {
    std::string text;
    return readWholeFile(L"C:\\korvel-slow-flush", text) ? kMostFlushes * std::stoul(text) : 0;
  }
  /// Both updates wait for the server from now on.
  void askForUpdates(SilentServer& server) {
    reply(ipc::Opcode::kStartLiveUpdate);
    ASSERT_TRUE(server.takeClient());
    reply(ipc::Opcode::kStartUpdateCheck);
    ASSERT_TRUE(server.takeClient());
  }
  void expectNoScan() { EXPECT_EQ(log().find("scan finished"), std::string::npos) << log(); }

  /// Connects a client that stays, and sends `bytes`.
  void hold(std::string_view bytes) {
    held_.connect();
    ASSERT_TRUE(held_.send(bytes));
    ::Sleep(30);  // the service has taken what there is and waits for more
  }
  void startLongScan() {
    const std::wstring target = manyPrograms();
    startScan(ScanScope::kCustom, {target});
  }

  /// Signatures that take a while to load, so that a stop can come in the midst of the start.
  void writeLongSignatures() {
    std::string signatures = "KORVELDB/1\nVERSION long\n";
    char digest[65];
    for (unsigned i = 0; i < kLongSignatures; ++i) {
      std::snprintf(digest, sizeof digest, "%08x%056x", i * 2'654'435'761u, i);
      signatures.append(digest).append("\n");
    }
    writeSettings("SignatureDb=" + toUtf8(folder().write(L"long.txt", signatures)) + "\n");
  }

  const std::function<void()> stopRequest_ = [this] { EXPECT_EQ(reply(ipc::Opcode::kStopService), ""); };
  Client held_;
  std::vector<DWORD> times_;
  std::optional<SilentServer> silent_;  ///< when KORVEL_SILENT_SERVER is set
};

TEST_F(Stop, WhileStarting) {
  writeLongSignatures();
  const std::string loaded =
      "signatures loaded: " + std::to_string(kLongSignatures) + " entries, version long";
  const std::string cut = "signature database not loaded: parse error in " + toUtf8(folder().at(L"long.txt"));
  int inTime = 0;
  for (int i = 0; i < stopCount(); ++i) {
    service().startInConsole(serviceExecutable(), L"--console");
    ASSERT_TRUE(eventually(kPhaseLimitMs, [&] { return logCount("engine: creating worker") == i + 1; }));
    ASSERT_NO_FATAL_FAILURE(stopTimed([&] {
      if (logCount(loaded) + logCount(cut) == i) ++inTime;
      pressCtrlC();
    }));
  }
  expectPromptTimes();
  expectNoScan();
  EXPECT_GT(inTime, stopCount() / 2) << "the phase was missed";
  if (flushMs() == 0) {  // else there are only a few stops, and each may come too late for that
    EXPECT_GT(logCount(cut), 0) << "no stop ended the load";
  }
  // The service completes its start first.
  EXPECT_EQ(logCount("running in console mode (Ctrl+C to stop)"), stopCount());
  EXPECT_EQ(logCount("[INF] stopped"), stopCount());
}

TEST_F(Stop, AskedOfTheServiceManagerFromTheStartOn) {
  writeLongSignatures();
  RegisteredService managed;
  int refused = 0;
  for (int i = 0; i < stopCount(); ++i) {
    ASSERT_TRUE(managed.start());
    const ULONGLONG started = ::GetTickCount64();
    ULONGLONG asked = started;
    for (; !managed.control(SERVICE_CONTROL_STOP); asked = ::GetTickCount64()) {
      // It accepts no controls before it runs.
      const DWORD code = ::GetLastError();
      ASSERT_TRUE(code == ERROR_INVALID_SERVICE_CONTROL || code == ERROR_SERVICE_CANNOT_ACCEPT_CTRL) << code;
      ASSERT_LT(asked - started, kLimitMs);
      ++refused;
      ::Sleep(1);
    }
    ASSERT_EQ(::WaitForSingleObject(managed.process(), kLimitMs), WAIT_OBJECT_0);
    times_.push_back(static_cast<DWORD>(::GetTickCount64() - asked));
    EXPECT_EQ(managed.waitFor(SERVICE_STOPPED).back().dwWin32ExitCode, 0u);
  }
  expectPromptTimes();
  expectNoScan();
  EXPECT_GE(refused, stopCount());
  EXPECT_EQ(logCount("KORVEL Antivirus: running"), stopCount());
  EXPECT_EQ(logCount("KORVEL Antivirus: stop requested"), stopCount());
  EXPECT_EQ(logCount("workers stopped"), stopCount());
}

TEST_F(Stop, WhileListening) {
  expectPromptStops([] {}, pressCtrlC);
  expectNoScan();
}

TEST_F(Stop, ByRequest) {
  expectPromptStops([] {}, stopRequest_);
  expectNoScan();
}

TEST_F(Stop, WithAnIdleClient) {
  expectPromptStops([this] { hold(""); }, pressCtrlC);
}

TEST_F(Stop, InTheMiddleOfAHeader) {
  expectPromptStops([this] { hold(frame(2).substr(0, 10)); }, pressCtrlC);
}

TEST_F(Stop, InTheMiddleOfAPayload) {
  expectPromptStops([this] { hold(frame(3, std::string(100'000, 'x')).substr(0, 30'000)); }, pressCtrlC);
}

TEST_F(Stop, InTheMiddleOfAReply) {
  std::string requests;
  for (int i = 0; i < 2'000; ++i) requests += frame(11);
  const auto fillThePipe = [&] {
    hold(requests);
    // The pipe is full once no more bytes come. A stop between two replies would wait for the client to read.
    DWORD before = 0;
    int unchanged = 0;
    ASSERT_TRUE(eventually(kPhaseLimitMs, [&] {
      const DWORD now = held_.waiting();
      unchanged = now == std::exchange(before, now) ? unchanged + 1 : 0;
      return now > 60'000 && unchanged >= kPollsOfAFullPipe;
    }));
  };
  expectPromptStops(fillThePipe, pressCtrlC);
}

TEST_F(Stop, RightAfterAScanWasAskedFor) {
  expectPromptStops([this] { startLongScan(); }, stopRequest_);
}

TEST_F(Stop, WhileFilesAreCounted) {
  const std::vector<std::wstring> targets(40, manyEmptyFiles());
  const auto count = [&] {
    startScan(ScanScope::kCustom, targets);
    ASSERT_TRUE(waitForPhase(L"counting"));
  };
  expectPromptStops(count, stopRequest_);
}

TEST_F(Stop, WhileFilesAreScanned) {
  const auto scanThem = [this] {
    startLongScan();
    ASSERT_TRUE(waitForPhase(L"scanning"));
  };
  expectPromptStops(scanThem, stopRequest_);
}

TEST_F(Stop, WhileLargeFilesAreScanned) {
  const std::wstring names[] = {L"large\\1.exe", L"large\\2.exe", L"large\\3.exe"};
  for (const std::wstring& name : names) writeLargeProgram(folder().at(name));
  // A look at a file while the service opens it makes the service skip the file, so any of them will do; a
  // scan that was never seen reading is asked for again.
  const auto anyIsBeingRead = [&] {
    return std::any_of(std::begin(names), std::end(names),
                       [this](const std::wstring& name) { return isBeingRead(folder().at(name)); });
  };
  const auto scanThem = [&] {
    ASSERT_TRUE(eventually(kPhaseLimitMs, [&] {
      if (anyIsBeingRead()) return true;
      if (!progress().scanning) startScan(ScanScope::kCustom, {folder().at(L"large")});
      return false;
    })) << log();
  };
  expectPromptStops(scanThem, stopRequest_);
  // A part does not count. On a busy machine some stops come while the second file is read.
  EXPECT_GT(logMentions("scan finished: files=0 threats=0 "), 0);
}

TEST_F(Stop, WhileTheWatcherScansALargeFile) {
  writeSettings("RealTimeEnabled=1\n");
  const std::wstring names[] = {L"C:\\Users\\korvel-large-1.exe", L"C:\\Users\\korvel-large-2.exe"};
  writeLargeProgram(names[0]);
  size_t current = 0;
  const auto rename = [&] {
    ASSERT_TRUE(eventually(kPhaseLimitMs, [&] {
      if (isBeingRead(names[current])) return true;
      if (::MoveFileExW(names[current].c_str(), names[1 - current].c_str(), 0)) current = 1 - current;
      ::Sleep(20);
      return isBeingRead(names[current]);
    }));
  };
  expectPromptStops(rename, stopRequest_);
  for (const std::wstring& name : names) removeTree(name);
}

TEST_F(Stop, WithItsReadsOfTheWatchedFoldersOutstanding) {
  writeSettings("RealTimeEnabled=1\n");
  expectPromptStops([this] { ASSERT_TRUE(logGets("realtime=on)\n")); }, pressCtrlC);
}

TEST_F(Stop, WhileTheScheduleSleeps) {
  const uint64_t hour = unixSecondsNow() / 3'600 % 24;
  writeSettings("ScheduledScan=1\nScheduledHour=" + std::to_string((hour + 12) % 24) + "\n");
  expectPromptStops([this] { ASSERT_TRUE(logGets("workers started (scheduled=on, realtime=off)\n")); },
                    pressCtrlC);
  expectNoScan();
}

TEST_F(Stop, WhileTheWebShieldWaits) {
  writeSettings("WebShield=1\n");
  expectPromptStops([] {}, pressCtrlC);
}

// A download blocks in the system until the server answers; the stop leaves it behind.
TEST_F(Stop, WhileAServerIsSilent) {
  SilentServer server;
  writeSettings("UpdateServer=" + server.url() + "\n");
  if (silent_) GTEST_SKIP() << "each phase has a silent server already";
  expectPromptStops([&] { ASSERT_NO_FATAL_FAILURE(askForUpdates(server)); }, stopRequest_);
}

TEST_F(Stop, WithEveryBackgroundThreadRunning) {
  writeSettings("RealTimeEnabled=1\nScheduledScan=1\nLiveUpdates=1\nWebShield=1\n");
  expectPromptStops([] {}, stopRequest_);
}

TEST_F(Stop, AfterAScanHasEnded) {
  expectPromptStops([this] { scan({folder().path()}); }, stopRequest_);
}

TEST_F(Stop, IsAlwaysAnsweredHoweverLateTheClientReads) {
  const int rounds = kReplyRoundsPerStop * stopCount();
  for (int i = 0; i < rounds; ++i) {
    startService();
    Client client;
    client.connect();
    ASSERT_TRUE(client.send(frame(21)));
    ::Sleep(kReadDelaysMs[static_cast<size_t>(i) % std::size(kReadDelaysMs)]);
    ASSERT_EQ(client.receive(), (Reply{21, ""})) << "round " << i;
    client.disconnect();
    ASSERT_EQ(service().waitForExit(kLimitMs), 0u);
  }
  showFigure("IsAlwaysAnsweredHoweverLateTheClientReads", static_cast<uint64_t>(rounds), "replies to a stop");
}

TEST_F(Stop, WaitsLittleForAClientThatNeverReadsTheAnswer) {
  constexpr int kRounds = 3;  // each takes the whole grace
  for (int i = 0; i < kRounds; ++i) {
    startService();
    held_.connect();
    ASSERT_NO_FATAL_FAILURE(stopTimed([this] { ASSERT_TRUE(held_.send(frame(21))); }));
    held_.disconnect();
  }
  EXPECT_LE(*std::max_element(times_.begin(), times_.end()), kSlowestStopMs + flushMs());
}

TEST_F(Stop, LetsNoScanBegin) {
  const std::string scanRequest = frame(3, ipc::encodeStartScan({ScanScope::kCustom, {folder().path()}}));
  for (int i = 0; i < stopCount(); ++i) {
    startService();
    Client client;
    client.connect();
    ASSERT_TRUE(client.send(frame(21) + scanRequest));
    EXPECT_EQ(client.receive(), (Reply{21, ""}));
    EXPECT_EQ(client.receive(), std::nullopt);
    ASSERT_EQ(service().waitForExit(kLimitMs), 0u);
  }
  expectNoScan();
}

}  // namespace
}  // namespace korvel::test

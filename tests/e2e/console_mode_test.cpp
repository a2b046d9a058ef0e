// The run modes from the command line.
#include <thread>

#include "base/paths.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/own_console.h"
#include "e2e/service_manager.h"
#include "e2e/service_test.h"
#include "support/pseudo_console.h"

namespace korvel::test {
namespace {

constexpr char kStartLine[] = "служба запущена в консольном режиме. Ctrl+C для остановки.\r\n";
constexpr char kUsage[] =
    "[INF] launch it through the Service Control Manager:\n"
    "  sc create KorvelService binPath= \"<path>\\KorvelService.exe\" start= auto\n"
    "  sc start KorvelService\n"
    "or run it without SCM rights:\n"
    "  KorvelService.exe --console\n"
    "diagnostics against a running service:\n"
    "  KorvelService.exe --ping\n"
    "  KorvelService.exe --update-check\n"
    "  KorvelService.exe --fw\n";

constexpr char kPing[] =
    "служба отвечает\r\n"
    "  версия:      1.2.0\r\n"
    "  сигнатуры:   1 (e2e-1)\r\n"
    "  защита:      вкл\r\n"
    "  real-time:   выкл\r\n"
    "  minifilter:  нет\r\n";

std::string unreachablePing(int code = 2) {
  std::string text;
  for (const char* attempt : {"1", "2", "3"}) {
    text += std::string("попытка ") + attempt +
            ": cannot connect to service pipe (win32=" + std::to_string(code) + ")\r\n";
  }
  return text + "служба не запущена или канал не создан\r\n";
}

class ConsoleMode : public ServiceTest {};

TEST_F(ConsoleMode, WritesItsStartLineAsUtf8WhereRedirected) {
  startService();
  stopService();
  EXPECT_EQ(service().output(), kStartLine);
  EXPECT_EQ(service().errorOutput(), "");
}

/// A service has nobody to close a box that asks for a medium.
TEST_F(ConsoleMode, ShowsNoBoxForADriveWithoutAMedium) {
  const UINT ours = ::SetErrorMode(0);  // a program inherits it
  startService();
  ::SetErrorMode(ours);
  const auto getErrorMode = reinterpret_cast<LPTHREAD_START_ROUTINE>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "GetErrorMode")));
  ASSERT_NE(getErrorMode, nullptr);
  EXPECT_EQ(service().resultThere(getErrorMode, 0), DWORD{SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX});
}

TEST_F(ConsoleMode, LogsItsLifeFromStartToStop) {
  startService();
  EXPECT_TRUE(logGets("[INF] running in console mode (Ctrl+C to stop)\n"));
  stopService();
  const char* const lines[] = {"[INF] KorvelService starting, version 1.2.0\n", "[INF] engine: started\n",
                               "[INF] running in console mode (Ctrl+C to stop)\n", "[INF] workers stopped\n",
                               "[INF] stopped\n"};
  const std::string text = log();
  size_t at = 0;
  for (const char* line : lines) {
    at = text.find(line, at);
    ASSERT_NE(at, std::string::npos) << line;
  }
}

TEST_F(ConsoleMode, LogStartsWithoutAByteOrderMarkAndIsAppendedTo) {
  writeFile(logPath(), "");
  startService();
  stopService();
  const std::string first = log();
  ASSERT_GT(first.size(), 13u);
  EXPECT_EQ(first[2], ':');
  EXPECT_EQ(first[12], ' ');  // "HH:MM:SS.mmm [INF] ..."
  startService();
  stopService();
  EXPECT_EQ(log().substr(0, first.size()), first);
}

TEST_F(ConsoleMode, AFailedStartIsToldOnTheConsoleAndInTheLog) {
  writeSettings("ScheduledHour=x\n");
  const Finished run = runToEnd(serviceExecutable(), L"--console");
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_EQ(run.output, "запуск не удался: worker threw: invalid stoul argument\r\n");
  EXPECT_TRUE(logGets("[ERR] engine: worker threw: invalid stoul argument\n"));
  EXPECT_TRUE(logGets("[ERR] startup failed: worker threw: invalid stoul argument\n"));
}

TEST_F(ConsoleMode, AQuarantineThatCannotBeMadeFailsTheStart) {
  const std::wstring file = folder().write(L"file", "in the way");
  const std::string reason = "cannot create quarantine dir: " + toUtf8(file);
  writeSettings("QuarantineDir=" + toUtf8(file) + "\n");
  const Finished run = runToEnd(serviceExecutable(), L"--console");
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_EQ(run.output, "запуск не удался: " + reason + "\r\n");
  const size_t init = log().find("[ERR] engine: init failed: " + reason + "\n");
  ASSERT_NE(init, std::string::npos);
  EXPECT_NE(log().find("[ERR] startup failed: " + reason + "\n", init), std::string::npos);
}

TEST_F(ConsoleMode, CtrlCStopsItCleanly) {
  startServiceInConsole();
  pressCtrlC();
  expectCleanEnd(20'000);
  EXPECT_TRUE(logGets("[INF] stopped\n"));
}

class Console : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    leaveConsole();
  }
};

TEST_F(Console, IsMadeForAModeThatHasNowhereToPrint) {
  service().startDetached(serviceExecutable(), L"--console");
  Client client;
  client.connect();
  EXPECT_TRUE(hasConsole(service().id()));
}

TEST_F(Console, IsNotMadeWhereTheOutputGoesElsewhere) {
  startService();
  EXPECT_FALSE(hasConsole(service().id()));
}

TEST_F(Console, IsNotMadeForAService) {
  RegisteredService managed;
  ASSERT_TRUE(managed.start());
  managed.waitFor(SERVICE_RUNNING);
  EXPECT_FALSE(hasConsole(managed.status().dwProcessId));
}

/// Started by hand from a console: console_child plays the shell in a console of the test's own.
class ExistingConsole : public ServiceTest {
 protected:
  /// Runs the executable to its end.
  static ConsoleRun run(const std::wstring& way, const std::wstring& flag) {
    wchar_t self[MAX_PATH + 1] = {};
    ::GetModuleFileNameW(/*module=*/nullptr, self, MAX_PATH);
    return runInConsole(joinPath(parentDirectory(self), L"console_child.exe"),
                        way + L" \"" + serviceExecutable() + L"\" " + flag);
  }
  /// Runs console mode until another client asks for the stop.
  ConsoleRun runConsoleMode(const std::wstring& way) {
    std::thread client([this] {
      EXPECT_TRUE(logGets("running in console mode"));
      EXPECT_EQ(reply(ipc::Opcode::kStopService), "");
    });
    const ConsoleRun seen = run(way, L"--console");
    client.join();
    return seen;
  }
};

TEST_F(ExistingConsole, ShowsTheStartLine) {
  const ConsoleRun seen = runConsoleMode(L"shell");
  EXPECT_EQ(seen.exitCode, 0u);
  EXPECT_EQ(seen.screen, kStartLine);
}

TEST_F(ExistingConsole, ShowsTheStartLineAlsoWhereTheOutputIsALeftoverOfTheShell) {
  const ConsoleRun seen = runConsoleMode(L"shell-with-leftover");
  EXPECT_EQ(seen.exitCode, 0u);
  EXPECT_EQ(seen.screen, kStartLine);
}

TEST_F(ExistingConsole, ShowsNothingOfARedirectedOutput) {
  const ConsoleRun seen = run(L"shell-with-pipe", L"--fw");
  EXPECT_EQ(seen.exitCode, 1u);
  EXPECT_EQ(seen.screen, "");
}

TEST_F(ExistingConsole, ShowsNothingOfAnOutputThatGoesToAFile) {
  startService();
  const std::wstring file = folder().write(L"said.txt", "");
  const ConsoleRun seen = run(L"shell-with-file", L"--ping \"" + file + L"\"");
  EXPECT_EQ(seen.exitCode, 0u);
  EXPECT_EQ(seen.screen, "");
  EXPECT_EQ(readFile(file), kPing);
}

TEST_F(ExistingConsole, ShowsThePingOfARunningService) {
  startService();
  const ConsoleRun seen = run(L"shell", L"--ping");
  EXPECT_EQ(seen.exitCode, 0u);
  EXPECT_EQ(seen.screen, kPing);
}

TEST_F(ExistingConsole, ShowsThePingThatReachesNoService) {
  const ConsoleRun seen = run(L"shell-with-leftover", L"--ping");
  EXPECT_EQ(seen.exitCode, 1u);
  EXPECT_EQ(seen.screen, unreachablePing());
}

TEST_F(ExistingConsole, ShowsWhatTheDiagnosticClientsSay) {
  const ConsoleRun seen = run(L"shell", L"--fw");
  EXPECT_EQ(seen.exitCode, 1u);
  EXPECT_EQ(seen.screen, "канал не открыт: cannot connect to service pipe (win32=2)\r\n");
}

/// Console events as the system delivers them: a thread in the process that runs its control routine. There
/// is no call that makes the system send these.
class ConsoleEvent : public ServiceTest {
 protected:
  void send(DWORD type) {
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine")));
    ASSERT_NE(routine, nullptr);
    ASSERT_TRUE(service().runThread(routine, type));
  }
  void expectCleanStop() {
    expectCleanEnd(20'000);
    const size_t workers = log().find("[INF] workers stopped\n");
    ASSERT_NE(workers, std::string::npos);
    EXPECT_NE(log().find("[INF] stopped\n", workers), std::string::npos);
  }
};

TEST_F(ConsoleEvent, CtrlBreakStopsItCleanly) {
  startService();
  send(CTRL_BREAK_EVENT);
  expectCleanStop();
}

TEST_F(ConsoleEvent, ClosingTheConsoleStopsItCleanly) {
  startService();
  send(CTRL_CLOSE_EVENT);
  expectCleanStop();
}

TEST_F(ConsoleEvent, ALogOffIsLeftToTheSystemWhichEndsTheProcess) {
  startService();
  send(CTRL_LOGOFF_EVENT);
  EXPECT_TRUE(service().waitForExit(20'000).has_value());
  EXPECT_EQ(log().find("workers stopped"), std::string::npos);
  EXPECT_EQ(log().find("[INF] stopped\n"), std::string::npos);
}

class RunMode : public ServiceTest {};

TEST_F(RunMode, PingBeatsConsole) {
  const Finished run = runToEnd(serviceExecutable(), L"--console --ping");
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_EQ(run.output, unreachablePing());
  EXPECT_EQ(log().find("engine:"), std::string::npos);
}

TEST_F(RunMode, AFlagCountsInsideALongerWord) {
  const Finished run = runToEnd(serviceExecutable(), L"--pingx");
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_EQ(run.output, unreachablePing());
}

TEST_F(RunMode, FirewallClientBeatsConsole) {
  const Finished run = runToEnd(serviceExecutable(), L"--fw --console");
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_EQ(run.output, "канал не открыт: cannot connect to service pipe (win32=2)\r\n");
}

TEST_F(RunMode, UpdateCheckBeatsFirewallClient) {
  const Finished run = runToEnd(serviceExecutable(), L"--fw --update-check");
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_EQ(run.output, "канал не открыт: cannot connect to service pipe (win32=2)\r\n");
}

TEST_F(RunMode, FlagsAreCaseSensitive) {
  const Finished run = runToEnd(serviceExecutable(), L"--PING");
  EXPECT_NE(run.exitCode, 0u);
  EXPECT_TRUE(logGets("[ERR] StartServiceCtrlDispatcher failed, win32=1063\n"));
}

TEST_F(RunMode, WithoutTheServiceManagerTheLogTellsTheUsage) {
  const Finished run = runToEnd(serviceExecutable(), L"");
  EXPECT_NE(run.exitCode, 0u);  // the last error at the end: 1063, unless a log write changed it
  EXPECT_EQ(run.output, "");
  const size_t failed = log().find("[ERR] StartServiceCtrlDispatcher failed, win32=1063\n");
  ASSERT_NE(failed, std::string::npos);
  EXPECT_NE(log().find(kUsage, failed), std::string::npos);
}

TEST_F(RunMode, PingTellsTheStateOfTheService) {
  startService();
  const Finished run = runToEnd(serviceExecutable(), L"--ping");
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(run.output, kPing);
}

TEST_F(RunMode, PingReportsAPipeThatStaysBusyAfterItsThreeTimesThreeSeconds) {
  startService();
  Client other;
  other.connect();
  const ULONGLONG started = ::GetTickCount64();
  const Finished run = runToEnd(serviceExecutable(), L"--ping");
  // Sixteen waits of 200 ms and a pause of a second at each attempt. Waits may end a tick early.
  EXPECT_GE(::GetTickCount64() - started, 3u * (16 * 180 + 900));
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_EQ(run.output, unreachablePing(231));
}

TEST_F(RunMode, PingIsServedAsSoonAsTheOtherClientHasGone) {
  startService();
  Client other;
  other.connect();
  ChildProcess ping;
  ping.start(serviceExecutable(), L"--ping");
  // The first attempt has failed, the second finds the pipe free.
  const std::string first = "попытка 1: cannot connect to service pipe (win32=231)\r\n";
  EXPECT_TRUE(eventually([&] { return ping.output() == first; }));
  other.disconnect();
  EXPECT_EQ(ping.waitForExit(60'000), 0u);
  EXPECT_TRUE(ping.output().starts_with(first + "служба отвечает\r\n")) << ping.output();
}

}  // namespace
}  // namespace korvel::test

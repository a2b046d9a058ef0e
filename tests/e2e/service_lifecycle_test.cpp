// The unmodified executable under the machine's Service Control Manager.
#include <cstdio>

#include "base/files.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/service_manager.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

class ServiceLifecycle : public ServiceTest {
 protected:
  void startAndWait() {
    ASSERT_TRUE(managed_.start());
    ASSERT_EQ(managed_.waitFor(SERVICE_RUNNING).back().dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
  }
  /// The position of a line's text in the log; fails the test when it is not there.
  static size_t lineAt(const std::string& text) {
    EXPECT_TRUE(logGets(text)) << text;
    return log().find(text);
  }

  RegisteredService managed_;
};

TEST_F(ServiceLifecycle, RunsWithStopAndShutdownAcceptedAndNoPendingFields) {
  startAndWait();
  const SERVICE_STATUS_PROCESS status = managed_.status();
  EXPECT_EQ(status.dwServiceType, static_cast<DWORD>(SERVICE_WIN32_OWN_PROCESS));
  EXPECT_EQ(status.dwControlsAccepted, 5u);
  EXPECT_EQ(status.dwWin32ExitCode, 0u);
  EXPECT_EQ(status.dwServiceSpecificExitCode, 0u);
  EXPECT_EQ(status.dwCheckPoint, 0u);
  EXPECT_EQ(status.dwWaitHint, 0u);
}

TEST_F(ServiceLifecycle, StopsCleanlyOnAStopControl) {
  startAndWait();
  ASSERT_TRUE(managed_.control(SERVICE_CONTROL_STOP));
  const SERVICE_STATUS_PROCESS status = managed_.waitFor(SERVICE_STOPPED).back();
  EXPECT_EQ(status.dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
  EXPECT_EQ(status.dwWin32ExitCode, 0u);
  EXPECT_EQ(status.dwCheckPoint, 0u);
  EXPECT_EQ(status.dwWaitHint, 0u);
}

TEST_F(ServiceLifecycle, LogsItsLifeInOrder) {
  startAndWait();
  // The line follows the status, and the stop's line comes from another thread.
  ASSERT_TRUE(logGets("[INF] KORVEL Antivirus: running\n"));
  ASSERT_TRUE(managed_.control(SERVICE_CONTROL_STOP));
  managed_.waitFor(SERVICE_STOPPED);
  size_t last = 0;
  for (const char* text :
       {"[INF] KORVEL Antivirus: initialising\n", "[INF] engine: creating worker\n",
        "[INF] KorvelService starting, version 1.2.0\n", "[INF] engine: worker initialised\n",
        "[INF] workers started (scheduled=off, realtime=off)\n", "[INF] engine: started\n",
        "[INF] KORVEL Antivirus: running\n", "[INF] KORVEL Antivirus: stop requested\n",
        "[INF] workers stopped\n"}) {
    const size_t at = lineAt(text);
    EXPECT_GT(at, last) << text;
    last = at;
  }
}

TEST_F(ServiceLifecycle, AnswersAnInterrogationWhileRunning) {
  startAndWait();
  ASSERT_TRUE(managed_.control(SERVICE_CONTROL_INTERROGATE));
  const SERVICE_STATUS_PROCESS status = managed_.status();
  EXPECT_EQ(status.dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
  EXPECT_EQ(status.dwControlsAccepted, 5u);
  EXPECT_EQ(status.dwCheckPoint, 0u);
}

TEST_F(ServiceLifecycle, ServesThePipeAsAService) {
  startAndWait();
  EXPECT_EQ(status().serviceVersion, "1.2.0");
  EXPECT_EQ(status().signatureCount, 1u);
}

TEST_F(ServiceLifecycle, StopsOnAStopRequestOfThePipe) {
  startAndWait();
  EXPECT_EQ(reply(ipc::Opcode::kStopService), "");
  EXPECT_EQ(managed_.waitFor(SERVICE_STOPPED).back().dwWin32ExitCode, 0u);
}

TEST_F(ServiceLifecycle, StopsDuringAScan) {
  for (int i = 0; i < 2'000; ++i) folder().write(std::to_wstring(i) + L".exe", "x");
  startAndWait();
  startScan(ScanScope::kCustom, {folder().path()});
  ASSERT_TRUE(managed_.control(SERVICE_CONTROL_STOP));
  EXPECT_EQ(managed_.waitFor(SERVICE_STOPPED).back().dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
}

TEST_F(ServiceLifecycle, AnEngineThatCannotStartIsReportedAs1066WithCode0) {
  writeSettings("QuarantineDir=C:\\korvel-test-machine\\below-a-file\n");
  ASSERT_TRUE(managed_.start());
  const SERVICE_STATUS_PROCESS status = managed_.waitFor(SERVICE_STOPPED).back();
  EXPECT_EQ(status.dwWin32ExitCode, static_cast<DWORD>(ERROR_SERVICE_SPECIFIC_ERROR));
  EXPECT_EQ(status.dwServiceSpecificExitCode, 0u);
  const std::string text = "cannot create quarantine dir: C:\\korvel-test-machine\\below-a-file\n";
  const size_t init = lineAt("[ERR] engine: init failed: " + text);
  EXPECT_LT(init, lineAt("[ERR] startup failed: " + text));
}

TEST_F(ServiceLifecycle, ABadHourIsAnExceptionOfTheWorker) {
  writeSettings("ScheduledHour=x\n");
  ASSERT_TRUE(managed_.start());
  EXPECT_EQ(managed_.waitFor(SERVICE_STOPPED).back().dwWin32ExitCode,
            static_cast<DWORD>(ERROR_SERVICE_SPECIFIC_ERROR));
  const size_t worker = lineAt("[ERR] engine: worker threw: invalid stoul argument\n");
  EXPECT_LT(worker, lineAt("[ERR] startup failed: worker threw: invalid stoul argument\n"));
}

/// Signatures that take a while to load, so that the service can be seen while it starts.
class SlowStart : public ServiceLifecycle {
 protected:
  static constexpr unsigned kSignatures = 1'000'000;

  void SetUp() override {
    ServiceLifecycle::SetUp();
    std::string signatures = "KORVELDB/1\nVERSION slow\n";
    char digest[65];
    for (unsigned i = 0; i < kSignatures; ++i) {
      std::snprintf(digest, sizeof digest, "%08x%056x", i * 2'654'435'761u, i);
      signatures.append(digest).append("\n");
    }
    writeSettings("SignatureDb=" + toUtf8(folder().write(L"slow.txt", signatures)) + "\n");
  }
};

TEST_F(SlowStart, IsStartPendingAndRefusesAStopAndAnInterrogationUntilItRuns) {
  ASSERT_TRUE(managed_.start());
  // The state is the manager's own until the service reports it too, with a check point.
  ASSERT_TRUE(eventually([this] { return managed_.status().dwCheckPoint == 1; }));
  // The manager itself answers for a service that accepts no controls.
  EXPECT_FALSE(managed_.control(SERVICE_CONTROL_INTERROGATE));
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_SERVICE_CANNOT_ACCEPT_CTRL));
  EXPECT_FALSE(managed_.control(SERVICE_CONTROL_STOP));
  const DWORD code = ::GetLastError();  // the test platform has a code of its own for a stop
  EXPECT_TRUE(code == ERROR_INVALID_SERVICE_CONTROL || code == ERROR_SERVICE_CANNOT_ACCEPT_CTRL) << code;
  const std::vector<SERVICE_STATUS_PROCESS> seen = managed_.waitFor(SERVICE_RUNNING);
  ASSERT_EQ(seen.front().dwCurrentState, static_cast<DWORD>(SERVICE_START_PENDING)) << "the phase was missed";
  EXPECT_EQ(seen.front().dwControlsAccepted, 0u);
  EXPECT_EQ(seen.front().dwCheckPoint, 1u);
  EXPECT_EQ(seen.front().dwWaitHint, 30'000u);
  EXPECT_EQ(seen.back().dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
  EXPECT_EQ(log().find("stop requested"), std::string::npos);
  EXPECT_TRUE(logGets("signatures loaded: " + std::to_string(kSignatures) + " entries, version slow\n"));
}

TEST_F(ServiceLifecycle, StartsAndStopsManyTimes) {
  for (int i = 0; i < 5; ++i) {
    startAndWait();
    ASSERT_TRUE(managed_.control(SERVICE_CONTROL_STOP));
    ASSERT_EQ(managed_.waitFor(SERVICE_STOPPED).back().dwCurrentState, static_cast<DWORD>(SERVICE_STOPPED));
  }
  EXPECT_EQ(log().find("crash:"), std::string::npos);
}

}  // namespace
}  // namespace korvel::test

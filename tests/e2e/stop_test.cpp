// The service ends quickly whatever a scan is doing.
#include <algorithm>
#include <cstdio>

#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

/// What the service promises. The fastest of a few tries counts, so that a busy machine is not a failure and
/// a wait of the service's own is.
constexpr DWORD kPromisedStopMs = 2'000;
constexpr int kTries = 3;
constexpr DWORD kLimitMs = 60'000;

class Stop : public ServiceTest {
 protected:
  /// Starts the service, lets `prepare` bring it into its state, and measures the stop.
  template <typename Prepare>
  void expectQuickStop(Prepare prepare) {
    DWORD fastest = kLimitMs;
    for (int i = 0; i < kTries; ++i) {
      startService();
      prepare();
      const ULONGLONG asked = ::GetTickCount64();
      reply(ipc::Opcode::kStopService);
      ASSERT_EQ(service().waitForExit(kLimitMs), 0u);
      fastest = std::min(fastest, static_cast<DWORD>(::GetTickCount64() - asked));
    }
    std::printf("stopped in %lu ms\n", fastest);
    EXPECT_LE(fastest, kPromisedStopMs);
    EXPECT_EQ(log().find("crash:"), std::string::npos);
  }
};

TEST_F(Stop, WhenIdle) {
  expectQuickStop([] {});
}

TEST_F(Stop, WithEveryBackgroundThreadRunning) {
  writeSettings("RealTimeEnabled=1\nScheduledScan=1\n");
  expectQuickStop([] {});
}

TEST_F(Stop, RightAfterAScanWasAskedFor) {
  const std::wstring target = manyPrograms();
  expectQuickStop([&] { startScan(svc::ScanScope::kCustom, {target}); });
}

TEST_F(Stop, WhileFilesAreCounted) {
  std::vector<std::wstring> targets(40, manyEmptyFiles());
  expectQuickStop([&] {
    startScan(svc::ScanScope::kCustom, targets);
    ASSERT_TRUE(waitForPhase(L"counting"));
  });
}

TEST_F(Stop, WhileFilesAreScanned) {
  const std::wstring target = manyPrograms();
  expectQuickStop([&] {
    startScan(svc::ScanScope::kCustom, {target});
    ASSERT_TRUE(waitForPhase(L"scanning"));
  });
}

TEST_F(Stop, AfterAScanHasEnded) {
  expectQuickStop([&] { scan({folder().path()}); });
}

}  // namespace
}  // namespace korvel::test

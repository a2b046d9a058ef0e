// The daily scan, by a clock that the test sets. The system's time of day is off by the seconds in the file
// C:\korvel-clock (scripts/test arranges that); waits are not affected. The service looks at the clock once a
// minute.
#include <algorithm>

#include "base/clock.h"
#include "base/files.h"
#include "base/win.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

constexpr wchar_t kClock[] = L"C:\\korvel-clock";
constexpr int64_t kDay = 20'779 * 86'400ll;  // 22 November 2026, 0:00 UTC
constexpr DWORD kClockIsReadMs = 1'500;      // a running process looks into the file once a second
constexpr DWORD kPeriodMs = 60'000;          // between two looks of the service at the clock
constexpr DWORD kMarginMs = 8'000;

class Schedule : public ServiceTest {
 protected:
  void SetUp() override {
    if (!pathExists(kClock)) GTEST_SKIP() << "the clock cannot be set here";
    ServiceTest::SetUp();
    (void)trueTime();  // for the first time, while the clock is right
    writeSettings("ScheduledScan=1\nScheduledHour=3\n");
  }

  /// The true time of day. The first call reads the clock; later calls add the time passed since then.
  static int64_t trueTime() {
    static const auto start = static_cast<int64_t>(unixSecondsNow());
    static const ULONGLONG startMs = ::GetTickCount64();
    return start + static_cast<int64_t>((::GetTickCount64() - startMs) / 1'000);
  }
  /// Sets the clock of this machine to that time of 22 November 2026, UTC.
  static void setClock(int hour, int minute, int second) {
    const int64_t offset = kDay + hour * 3'600 + minute * 60 + second - trueTime();
    const std::wstring next = std::wstring(kClock) + L".new";
    writeFile(next, (offset < 0 ? "" : "+") + std::to_string(offset) + "\n");
    ASSERT_TRUE(::MoveFileExW(next.c_str(), kClock, MOVEFILE_REPLACE_EXISTING));
    ::Sleep(kClockIsReadMs);
  }
  void startAt(int hour, int minute, int second) {
    setClock(hour, minute, second);
    startService();
  }

  static int finishedScans() { return logMentions("[INF] scan finished: "); }
  static int skippedScans() { return logMentions("[WRN] scheduled scan skipped: "); }
  /// Expects that no scheduled scan has run or been skipped so far, and that no scan runs.
  void expectNothingYet() {
    EXPECT_FALSE(progress().scanning);
    EXPECT_EQ(finishedScans(), 0);
    EXPECT_EQ(skippedScans(), 0);
  }
};

TEST_F(Schedule, StartedShortlyBeforeItsHourScansOnceInTheWindow) {
  startAt(2, 59, 20);  // even a slow start ends before the hour, the second look comes after
  const ULONGLONG started = ::GetTickCount64();
  ::Sleep(3'000);
  expectNothingYet();
  ASSERT_TRUE(eventually(kPeriodMs + kMarginMs, [this] { return progress().scanning; }));
  waitForScanEnd();
  EXPECT_GE(::GetTickCount64() - started, kPeriodMs - kClockIsReadMs);
  // The hour is UTC: local time is far from it.
  const auto lastScan = static_cast<int64_t>(settings().lastScanUtc);
  EXPECT_GE(lastScan, kDay + 3 * 3'600);
  EXPECT_LT(lastScan, kDay + 3 * 3'600 + 10 * 60);

  // The next look at the clock falls into the window too.
  while (::GetTickCount64() - started < 2 * kPeriodMs + kMarginMs) {
    ASSERT_FALSE(progress().scanning);
    ::Sleep(200);
  }
  EXPECT_EQ(finishedScans(), 1);
  EXPECT_EQ(skippedScans(), 0);
}

TEST_F(Schedule, AScanThatRunsInTheWindowKeepsTheDailyOneFromStarting) {
  startAt(2, 59, 40);
  const std::wstring target = manyPrograms();
  ASSERT_TRUE(eventually(2 * kPeriodMs, [&] {
    if (!progress().scanning) startScan(ScanScope::kCustom, std::vector<std::wstring>(100, target));
    return skippedScans() > 0;
  }));
  EXPECT_EQ(skippedScans(), 1);
  EXPECT_TRUE(logGets("[WRN] scheduled scan skipped: a scan is already running\n"));
  reply(ipc::Opcode::kCancelScan);
  waitForScanEnd();
}

TEST_F(Schedule, StartedWithinTheWindowScansAtOnceAndQuickly) {
  wchar_t profile[MAX_PATH] = {};
  ASSERT_GT(::GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH), 0u);
  const std::wstring file = std::wstring(profile) + L"\\Downloads\\korvel-e2e.pdf.exe";
  const std::wstring deep = std::wstring(profile) + L"\\korvel-e2e\\deep.pdf.exe";
  const std::wstring outside = L"C:\\korvel-e2e\\outside.pdf.exe";
  for (const std::wstring& path : {file, deep, outside}) writeFile(path, "x");
  startAt(3, 9, 30);
  EXPECT_TRUE(eventually(kPeriodMs, [this] { return progress().scanning || finishedScans() > 0; }));
  waitForScanEnd();
  EXPECT_EQ(finishedScans(), 1);
  const std::vector<ThreatRecord> found = results();
  const auto isFound = [&found](const std::wstring& path) {
    return std::any_of(found.begin(), found.end(), [&](const auto& threat) { return threat.path == path; });
  };
  EXPECT_TRUE(isFound(file));
  EXPECT_FALSE(isFound(deep)) << "of the profile itself a quick scan takes only the files directly in it";
  EXPECT_FALSE(isFound(outside)) << "a full scan would find it";
  removeTree(file);
  removeTree(std::wstring(profile) + L"\\korvel-e2e");
  removeTree(L"C:\\korvel-e2e");
}

TEST_F(Schedule, StartedOutsideTheWindowScansNothing) {
  startAt(3, 10, 0);
  ::Sleep(1'000);
  expectNothingYet();
  stopService();
  startAt(18, 5, 0);  // five past three by the local time of this run
  ::Sleep(1'000);
  expectNothingYet();
}

TEST_F(Schedule, WithoutProtectionIsSkippedWithANote) {
  writeSettings("ProtectionEnabled=0\n");
  startAt(3, 0, 5);
  EXPECT_TRUE(logGets("[WRN] scheduled scan skipped: protection is disabled\n"));
  EXPECT_EQ(skippedScans(), 1);
  EXPECT_EQ(finishedScans(), 0);
}

TEST_F(Schedule, SwitchedOffDoesNotLookAtTheClock) {
  writeSettings("ScheduledScan=0\n");
  startAt(3, 5, 0);
  ::Sleep(1'000);
  expectNothingYet();
}

}  // namespace
}  // namespace korvel::test

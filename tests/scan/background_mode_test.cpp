// The test platform knows no background mode, so a stand-in notes what the scan asks for.
#include "scan/background_mode.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

#include "scan_fixture.h"

namespace korvel {
namespace {

/// What each thread has asked for, in order.
struct Priorities {
  std::mutex mutex;
  std::map<DWORD, std::vector<int>> ofThread;
  bool refuse = false;

  static Priorities& now() {
    static Priorities priorities;
    return priorities;
  }
};

BOOL WINAPI notePriority(HANDLE, int priority) {
  Priorities& now = Priorities::now();
  const std::lock_guard lock(now.mutex);
  now.ofThread[::GetCurrentThreadId()].push_back(priority);
  if (now.refuse) ::SetLastError(ERROR_INVALID_PARAMETER);
  return now.refuse ? FALSE : TRUE;
}

class BackgroundModeTest : public test::ScanFixture {
 protected:
  using Asked = std::vector<int>;

  void SetUp() override {
    Priorities::now().ofThread.clear();
    Priorities::now().refuse = false;
    calls_.setThreadPriority = notePriority;
    for (int i = 0; i < 300; ++i) folder_.write(std::to_wstring(i) + L".exe", "abc");
  }
  uint64_t scan(bool inBackground, size_t workers) {
    ScanOptions options;
    options.inBackground = inBackground;
    options.workers = workers;
    FileScanner scanner(databaseOf(""), options, {}, calls_);
    EXPECT_EQ(scanner.measure({{folder_.path(), true}}).filesTotal, 300u);
    return scanner.scan({{folder_.path(), true}}, nullptr, nullptr).filesScanned;
  }

  FileCalls calls_ = FileCalls::windows();
  // Once while it counts, once while it scans.
  const Asked scanThread_ = {THREAD_MODE_BACKGROUND_BEGIN, THREAD_MODE_BACKGROUND_END,
                             THREAD_MODE_BACKGROUND_BEGIN, THREAD_MODE_BACKGROUND_END};
};

TEST_F(BackgroundModeTest, TheScanThreadAndEveryWorkerThatReadsAreInIt) {
  EXPECT_EQ(scan(/*inBackground=*/true, 2), 300u);
  auto asked = Priorities::now().ofThread;
  EXPECT_EQ(asked[::GetCurrentThreadId()], scanThread_);
  asked.erase(::GetCurrentThreadId());
  EXPECT_GE(asked.size(), 1u);
  EXPECT_LE(asked.size(), 2u);
  for (const auto& [thread, modes] : asked) EXPECT_EQ(modes, Asked{THREAD_MODE_BACKGROUND_BEGIN});
}

TEST_F(BackgroundModeTest, WithoutWorkersTheScanThreadIsInIt) {
  EXPECT_EQ(scan(/*inBackground=*/true, 0), 300u);
  EXPECT_EQ(Priorities::now().ofThread.size(), 1u);
  EXPECT_EQ(Priorities::now().ofThread[::GetCurrentThreadId()], scanThread_);
}

TEST_F(BackgroundModeTest, AnyOtherScanKeepsItsPriority) {
  for (const size_t workers : {0u, 2u}) EXPECT_EQ(scan(/*inBackground=*/false, workers), 300u);
  EXPECT_TRUE(Priorities::now().ofThread.empty());
}

TEST_F(BackgroundModeTest, ASystemThatRefusesItGetsTheScanAllTheSame) {
  Priorities::now().refuse = true;
  EXPECT_EQ(scan(/*inBackground=*/true, 2), 300u);
}

}  // namespace
}  // namespace korvel

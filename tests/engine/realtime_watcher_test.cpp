#include "engine/realtime_watcher.h"

#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <thread>

#include "base/files.h"
#include "base/win.h"
#include "scan/signature_database.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

/// A watcher on a thread of its own over folders of its own. Files are made in directories that appear after
/// the watch was armed: the test platform does not report older subdirectories.
class RealtimeWatcherTest : public testing::Test {
 protected:
  void TearDown() override { stop(); }

  void watch(const std::vector<std::wstring>& roots) {
    watcher_ = std::make_unique<RealtimeWatcher>(std::make_shared<SignatureDatabase>(), ScanOptions{},
                                                 stopping_, [this](const FileVerdict& verdict) {
                                                   const std::lock_guard lock(mutex_);
                                                   detected_.insert(verdict.path);
                                                 });
    thread_ = std::thread([this, roots] { watcher_->run(roots); });
    ::Sleep(300);  // there is no sign of being armed; the files below are made again until they are seen
  }
  void stop() {
    stopping_.exchangeSet();
    if (thread_.joinable()) thread_.join();
  }
  bool seen(const std::wstring& path) {
    const std::lock_guard lock(mutex_);
    return detected_.count(path) != 0;
  }
  /// Writes the file again and again until the watcher has reported it.
  bool writeUntilSeen(const std::wstring& path) {
    for (int attempt = 0; attempt < 100; ++attempt) {
      try {
        test::writeFile(path, "x" + std::to_string(attempt));
      } catch (const std::exception&) {
        // the watcher is reading it at this moment
      }
      ::Sleep(100);
      if (seen(path)) return true;
    }
    return false;
  }

  test::TempFolder root_;
  test::TempFolder otherRoot_;
  StopFlag stopping_;
  std::mutex mutex_;
  std::set<std::wstring> detected_;
  std::unique_ptr<RealtimeWatcher> watcher_;
  std::thread thread_;
};

TEST_F(RealtimeWatcherTest, AFileCreatedInASubfolderIsScanned) {
  watch({root_.path()});
  EXPECT_TRUE(writeUntilSeen(root_.at(L"new\\invoice.pdf.exe")));
}

TEST_F(RealtimeWatcherTest, AFileRenamedIntoPlaceIsScannedUnderItsNewName) {
  watch({root_.path()});
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\first.pdf.exe")));
  const std::wstring harmless = root_.at(L"new\\x.tmp");
  const std::wstring renamed = root_.at(L"new\\second.pdf.exe");
  test::writeFile(harmless, "x");
  ASSERT_TRUE(::MoveFileExW(harmless.c_str(), renamed.c_str(), 0));
  for (int i = 0; i < 50 && !seen(renamed); ++i) ::Sleep(100);
  EXPECT_TRUE(seen(renamed));
}

TEST_F(RealtimeWatcherTest, FilesOfNoInterestAndHiddenDotFoldersAreNotReported) {
  watch({root_.path()});
  test::writeFile(root_.at(L".hidden\\invoice.pdf.exe"), "x");
  test::writeFile(root_.at(L"new\\plain.exe"), "x");
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\invoice.pdf.exe")));
  EXPECT_FALSE(seen(root_.at(L".hidden\\invoice.pdf.exe")));
  EXPECT_FALSE(seen(root_.at(L"new\\plain.exe")));
}

TEST_F(RealtimeWatcherTest, AMissingRootIsPassedOver) {
  watch({root_.at(L"missing"), otherRoot_.path()});
  EXPECT_TRUE(writeUntilSeen(otherRoot_.at(L"new\\invoice.pdf.exe")));
}

TEST_F(RealtimeWatcherTest, SeveralRootsAreWatchedAtOnce) {
  watch({root_.path(), otherRoot_.path()});
  EXPECT_TRUE(writeUntilSeen(otherRoot_.at(L"new\\a.pdf.exe")));
  EXPECT_TRUE(writeUntilSeen(root_.at(L"new\\b.pdf.exe")));
}

TEST_F(RealtimeWatcherTest, WithoutAnyRootItEndsByItself) {
  watch({root_.at(L"missing")});
  thread_.join();
  SUCCEED();
}

TEST_F(RealtimeWatcherTest, ABurstOfAThousandFilesLeavesItWorking) {
  watch({root_.path()});
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\before.pdf.exe")));
  for (int i = 0; i < 1000; ++i) test::writeFile(root_.at(L"new\\" + std::to_wstring(i) + L".txt"), "x");
  EXPECT_TRUE(writeUntilSeen(root_.at(L"new\\after.pdf.exe")));
}

TEST_F(RealtimeWatcherTest, StopEndsItWithReadsOutstandingManyTimes) {
  for (int round = 0; round < 20; ++round) {
    StopFlag stopping;
    RealtimeWatcher watcher(std::make_shared<SignatureDatabase>(), ScanOptions{}, stopping,
                            [](const FileVerdict&) {});
    std::thread thread([&] { watcher.run({root_.path(), otherRoot_.path()}); });
    ::Sleep(static_cast<DWORD>(round));
    stopping.exchangeSet();
    thread.join();
  }
}

TEST(WatchedRoots, AreTheSixTreesInTheirOrder) {
  EXPECT_EQ(watchedRoots(), (std::vector<std::wstring>{L"C:\\Users", L"C:\\ProgramData", L"C:\\Program Files",
                                                       L"C:\\Program Files (x86)", L"C:\\Windows\\Temp",
                                                       L"C:\\Windows\\Downloaded Files"}));
}

}  // namespace
}  // namespace korvel::svc

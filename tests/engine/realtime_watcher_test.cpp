#include "engine/realtime_watcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "base/files.h"
#include "base/utf.h"
#include "base/win.h"
#include "runtime/log.h"
#include "signatures/signature_database.h"
#include "support/eventually.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

/// A watcher on a thread of its own over folders of its own. Files are made in directories that appear after
/// the watch was armed: the test platform does not report older subdirectories.
class RealtimeWatcherTest : public testing::Test {
 protected:
  RealtimeWatcherTest() { Log::instance().open(logFolder_.at(L"log")); }
  void TearDown() override {
    stop();
    Log::instance().open(L"NUL");  // closes the file
  }
  bool logged(const std::string& text) const {
    return test::readFile(logFolder_.at(L"log")).find(text) != std::string::npos;
  }

  void watch(const std::vector<std::wstring>& roots, const HeldFiles::Delays& delays = HeldFiles::kDelays) {
    watcher_ = std::make_unique<RealtimeWatcher>(
        database_, ScanOptions{}, stopEvent_,
        [this](const FileVerdict& verdict) {
          {
            const std::lock_guard lock(mutex_);
            detected_.insert(verdict.path);
            lastDigest_ = verdict.sha256;
          }
          while (held_) ::Sleep(10);
        },
        delays);
    thread_ = std::thread([this, roots] { watcher_->run(roots); });
    ::Sleep(300);  // nothing shows that it is armed; the files below are written until they are seen
  }
  void stop() {
    held_ = false;
    stop_.request_stop();
    if (thread_.joinable()) thread_.join();
  }
  bool seen(const std::wstring& path) {
    const std::lock_guard lock(mutex_);
    return detected_.count(path) != 0;
  }
  size_t events(const std::wstring& path) {
    const std::lock_guard lock(mutex_);
    return detected_.count(path);
  }
  std::string lastDigest() {
    const std::lock_guard lock(mutex_);
    return lastDigest_;
  }
  /// Writes a file and goes on holding it.
  static UniqueHandle writeAndHold(const std::wstring& path, std::string_view bytes) {
    UniqueHandle file(::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, /*security=*/nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr));
    EXPECT_TRUE(file) << ::GetLastError();
    EXPECT_TRUE(writeAll(file.get(), bytes));
    return file;
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

  test::TempFolder logFolder_;
  test::TempFolder root_;
  test::TempFolder otherRoot_;
  const std::shared_ptr<SignatureDatabase> database_ = std::make_shared<SignatureDatabase>();
  StopSource stop_;
  const StopEvent stopEvent_{stop_.get_token()};
  std::mutex mutex_;
  std::multiset<std::wstring> detected_;
  std::string lastDigest_;
  std::atomic<bool> held_{false};  // the watcher is kept busy with the file that it has just detected
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
  EXPECT_TRUE(test::eventually([&] { return seen(renamed); }));
}

TEST_F(RealtimeWatcherTest, FilesOfNoInterestAndHiddenDotFoldersAreNotReported) {
  const std::string abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  ASSERT_TRUE(
      database_->loadFile(logFolder_.write(L"signatures", abc + ":tag:Abc:low:Test.Abc:x\n"), nullptr));
  watch({root_.path()});
  test::writeFile(root_.at(L".hidden\\invoice.pdf.exe"), "x");
  test::writeFile(root_.at(L"new\\plain.exe"), "x");
  test::writeFile(root_.at(L"new\\listed as low.exe"), "abc");
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\invoice.pdf.exe")));
  EXPECT_FALSE(seen(root_.at(L".hidden\\invoice.pdf.exe")));
  EXPECT_FALSE(seen(root_.at(L"new\\plain.exe")));
  EXPECT_FALSE(seen(root_.at(L"new\\listed as low.exe")));
}

TEST_F(RealtimeWatcherTest, RootsAndFilesWithOddNamesAreWatchedAndScanned) {
  ASSERT_TRUE(createDirectories(root_.at(L"evil.")));
  watch({root_.at(L"evil.")});
  EXPECT_TRUE(writeUntilSeen(root_.at(L"evil.\\new \\nul.pdf.exe")));
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
  EXPECT_TRUE(logged("[WRN] real-time: no watchable directories\n"));
}

TEST_F(RealtimeWatcherTest, ARootThatCannotBeReadIsNamedAndNeverWatched) {
  const std::wstring file = root_.write(L"file.txt", "not a directory");
  watch({file, otherRoot_.path()});
  EXPECT_TRUE(writeUntilSeen(otherRoot_.at(L"new\\invoice.pdf.exe")));
  EXPECT_TRUE(logged("[WRN] real-time: ReadDirectoryChangesW failed on " + toUtf8(file) + ", win32="));
}

TEST_F(RealtimeWatcherTest, ARootThatGoesAwayLeavesTheOthersWatched) {
  const std::wstring gone = root_.at(L"gone");
  createDirectories(gone);
  watch({gone, otherRoot_.path()});
  ASSERT_TRUE(writeUntilSeen(gone + L"\\new\\a.pdf.exe"));
  test::removeTree(gone);
  EXPECT_TRUE(writeUntilSeen(otherRoot_.at(L"new\\b.pdf.exe")));
  EXPECT_FALSE(logged("[WRN]"));
}

TEST_F(RealtimeWatcherTest, AnOverflowLosesItsBurstSilentlyAndTheWatchGoesOn) {
  watch({root_.path()});
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\before.pdf.exe")));
  held_ = true;
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\busy.pdf.exe")));
  // The changes that wait for the watcher take more than its 64 KiB.
  const std::wstring longName(100, L'x');
  for (int i = 0; i < 1000; ++i) {
    test::writeFile(root_.at(L"new\\" + longName + std::to_wstring(i) + L".pdf.exe"), "x");
  }
  held_ = false;
  EXPECT_TRUE(writeUntilSeen(root_.at(L"new\\after.pdf.exe")));
  EXPECT_FALSE(seen(root_.at(L"new\\" + longName + L"500.pdf.exe")));
  EXPECT_FALSE(logged("real-time:"));
}

TEST_F(RealtimeWatcherTest, ABurstOfAThousandFilesLeavesItWorking) {
  watch({root_.path()});
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\before.pdf.exe")));
  for (int i = 0; i < 1000; ++i) test::writeFile(root_.at(L"new\\" + std::to_wstring(i) + L".txt"), "x");
  EXPECT_TRUE(writeUntilSeen(root_.at(L"new\\after.pdf.exe")));
}

constexpr char kAbcSha256[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr HeldFiles::Delays kShortDelays = {100, 200, 400};
constexpr HeldFiles::Delays kNoEnd = {100, 200, 86'400'000};

TEST_F(RealtimeWatcherTest, AFileThatItsWriterStillHoldsIsReadOnceItIsLetGo) {
  ASSERT_TRUE(database_->loadFile(logFolder_.write(L"signatures", std::string(kAbcSha256) + "\n"), nullptr));
  watch({root_.path()}, {100, 3'000, 20'000});
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\first.pdf.exe")));
  const std::wstring path = root_.at(L"new\\tool.exe");
  UniqueHandle writer = writeAndHold(path, "abc");
  ::Sleep(500);
  EXPECT_EQ(events(path), 0u);
  writer.reset();
  EXPECT_TRUE(test::eventually([&] { return events(path) == 1; }));
  EXPECT_EQ(lastDigest(), kAbcSha256);
}

TEST_F(RealtimeWatcherTest, AFileThatStaysHeldIsReportedOnceByItsName) {
  watch({root_.path()}, kShortDelays);
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\first.pdf.exe")));
  const std::wstring path = root_.at(L"new\\invoice.pdf.exe");
  const UniqueHandle writer = writeAndHold(path, "abc");
  EXPECT_TRUE(test::eventually([&] { return events(path) == 1; }));
  EXPECT_EQ(lastDigest(), "");
  ::Sleep(1'000);
  EXPECT_EQ(events(path), 1u);
}

TEST_F(RealtimeWatcherTest, OtherChangesAreReportedWhileAFileWaits) {
  watch({root_.path()}, kNoEnd);
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\first.pdf.exe")));
  const std::wstring path = root_.at(L"new\\invoice.pdf.exe");
  const UniqueHandle writer = writeAndHold(path, "abc");
  EXPECT_TRUE(writeUntilSeen(root_.at(L"new\\second.pdf.exe")));
  ::Sleep(500);
  EXPECT_TRUE(writeUntilSeen(root_.at(L"new\\third.pdf.exe")));
  EXPECT_EQ(events(path), 0u);
}

TEST_F(RealtimeWatcherTest, AWaitingFileHoldsUpNoStop) {
  watch({root_.path()}, kNoEnd);
  ASSERT_TRUE(writeUntilSeen(root_.at(L"new\\first.pdf.exe")));
  const std::wstring path = root_.at(L"new\\invoice.pdf.exe");
  const UniqueHandle writer = writeAndHold(path, "abc");
  ::Sleep(500);
  stop();
  EXPECT_EQ(events(path), 0u);
}

TEST_F(RealtimeWatcherTest, StopEndsItWithReadsOutstandingManyTimes) {
  for (int round = 0; round < 20; ++round) {
    StopSource stop;
    const StopEvent stopping(stop.get_token());
    RealtimeWatcher watcher(std::make_shared<SignatureDatabase>(), ScanOptions{}, stopping,
                            [](const FileVerdict&) {});
    std::thread thread([&] { watcher.run({root_.path(), otherRoot_.path()}); });
    ::Sleep(static_cast<DWORD>(round));
    stop.request_stop();
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

// Real-time protection of the running service: files appear below the watched trees and become events. Files
// are made in folders that appear after the start: the test platform does not report older subfolders.
#include <algorithm>
#include <iterator>
#include <set>
#include <vector>

#include "base/files.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "base/utf.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

constexpr DWORD kLimitMs = 20'000;
constexpr const wchar_t* kTrees[] = {L"C:\\Users\\korvel-test", L"C:\\ProgramData\\korvel-test"};
constexpr wchar_t kDownloaded[] = L"C:\\Windows\\Downloaded Files";  // no part of a fresh system
constexpr const wchar_t* kOtherTrees[] = {L"C:\\Program Files\\korvel-test",
                                          L"C:\\Program Files (x86)\\korvel-test",
                                          L"C:\\Windows\\Temp\\korvel-test", kDownloaded};

class Realtime : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    removeFolders();
    writeSettings("RealTimeEnabled=1\n");
  }
  void TearDown() override {
    ServiceTest::TearDown();
    removeFolders();
  }
  static void removeFolders() {
    for (const wchar_t* tree : kTrees) removeTree(tree);
    for (const wchar_t* tree : kOtherTrees) removeTree(tree);
  }
  static bool rewritten(const std::wstring& path, const std::string& bytes) {
    try {
      writeFile(path, bytes);
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  void collectEvents() {
    for (const ThreatEvent& event : progress().events) {
      events_.push_back(event);
      paths_.insert(event.path);
    }
  }
  /// Waits for an event of this path.
  bool reported(const std::wstring& path) {
    return eventually(kLimitMs, [&] {
      if (paths_.count(path) == 0) collectEvents();
      return paths_.count(path) != 0;
    });
  }
  /// Writes the file until it is reported: a write fails while the watcher reads the file, and the watcher
  /// cannot read the file while it is written.
  bool reportedOnceWritten(const std::wstring& path, const std::string& bytes) {
    return eventually(kLimitMs, [&] {
      (void)rewritten(path, bytes);
      ::Sleep(50);
      collectEvents();
      return paths_.count(path) != 0;
    });
  }
  /// Starts the service and waits until its watch is armed: until a file made again and again is reported.
  void startArmed() {
    startService();
    paths_.clear();
    const std::wstring probe = L"C:\\Users\\korvel-test\\probe\\probe.pdf.exe";
    for (int i = 0; i < 100 && paths_.count(probe) == 0; ++i) {
      removeTree(L"C:\\Users\\korvel-test");
      (void)rewritten(probe, "x");  // fails while it is being scanned
      ::Sleep(100);
      collectEvents();
    }
    ASSERT_EQ(paths_.count(probe), 1u) << "the watch was never armed";
  }

  /// Makes an empty folder that the watch has reached. The test platform notices a new folder only a moment
  /// after it was made, and misses what was made in it until then.
  std::wstring watchedFolder(const std::wstring& path) {
    const std::wstring probe = path + L"\\probe.pdf.exe";
    EXPECT_TRUE(reportedOnceWritten(probe, "x")) << toUtf8(path);
    EXPECT_TRUE(eventually(kLimitMs, [&] {
      removeTree(probe);  // fails while it is being scanned
      return !pathExists(probe);
    }));
    return path;
  }

  std::vector<ThreatEvent> events_;
  std::set<std::wstring> paths_;
};

TEST_F(Realtime, AFileCreatedInAUsersDownloadsBecomesAnEvent) {
  startArmed();
  const std::wstring path = watchedFolder(L"C:\\Users\\korvel-test\\t1\\Downloads") + L"\\x.exe";
  writeFile(path, "x");
  EXPECT_TRUE(reported(path));
  EXPECT_TRUE(logGets("[INF] real-time detection: C:\\Users\\korvel-test\\t1\\Downloads\\x.exe\n"));
}

TEST_F(Realtime, AFileBelowProgramDataBecomesAnEventWithItsThreat) {
  startArmed();
  const std::wstring path = L"C:\\ProgramData\\korvel-test\\eicar.com";
  ASSERT_TRUE(reportedOnceWritten(path, eicarText()));
  for (const ThreatEvent& event : events_) {
    if (event.path != path) continue;
    EXPECT_EQ(event.severity, 3);
    EXPECT_EQ(event.size, 68u);
  }
}

// The test is the second program here: it writes the file and goes on holding it.
TEST_F(Realtime, ADownloadThatItsWriterStillHoldsBecomesOneEventWithItsThreat) {
  startArmed();
  const std::wstring tree = watchedFolder(L"C:\\Users\\korvel-test\\t12\\Downloads");
  const std::wstring path = tree + L"\\tool.exe";
  UniqueHandle writer(::CreateFileW(path.c_str(), GENERIC_WRITE, /*share=*/0, /*security=*/nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr));
  ASSERT_TRUE(writer);
  ASSERT_TRUE(writeAll(writer.get(), eicarText()));
  ::Sleep(1'000);
  collectEvents();
  EXPECT_EQ(paths_.count(path), 0u);
  writer.reset();
  ASSERT_TRUE(reported(path));

  const std::wstring next = tree + L"\\next.exe";
  writeFile(next, "x");
  ASSERT_TRUE(reported(next));
  ::Sleep(1'000);
  collectEvents();
  const auto isOfPath = [&path](const ThreatEvent& event) { return event.path == path; };
  ASSERT_EQ(std::count_if(events_.begin(), events_.end(), isOfPath), 1);
  EXPECT_EQ(std::find_if(events_.begin(), events_.end(), isOfPath)->severity, 3);
  EXPECT_EQ(std::find_if(events_.begin(), events_.end(), isOfPath)->size, 68u);
}

TEST_F(Realtime, ARenamedFileIsScannedUnderItsNewName) {
  startArmed();
  for (const std::wstring tree : kTrees) {
    const std::wstring letter = watchedFolder(tree + L"\\t2") + L"\\letter";
    const std::wstring before = letter + L".txt";
    const std::wstring after = letter + L".doc.exe";
    writeFile(before, "x");
    ASSERT_TRUE(::MoveFileExW(before.c_str(), after.c_str(), 0));
    EXPECT_TRUE(reported(after));
  }
}

TEST_F(Realtime, AModifiedFileIsScannedAgain) {
  startArmed();
  for (const std::wstring tree : kTrees) {
    const std::wstring path = tree + L"\\t3\\tool.com";
    writeFile(path, "harmless");
    EXPECT_TRUE(reportedOnceWritten(path, eicarText()));
  }
}

TEST_F(Realtime, ADeletedFileLeavesNoTrace) {
  startArmed();
  const std::wstring tree = watchedFolder(L"C:\\Users\\korvel-test\\t7");
  const std::wstring path = tree + L"\\gone.exe";
  writeFile(path, "harmless");
  removeTree(path);
  const std::wstring next = tree + L"\\next.pdf.exe";
  writeFile(next, "x");
  ASSERT_TRUE(reported(next));
  EXPECT_EQ(paths_.count(path), 0u);
}

TEST_F(Realtime, ATreeThatIsMissingIsPassedOverSilently) {
  ASSERT_FALSE(pathExists(L"C:\\Windows\\Downloaded Files"));
  startArmed();
  EXPECT_EQ(log().find("real-time: "), std::string::npos);
}

TEST_F(Realtime, EveryWatchedTreeIsWatched) {
  createDirectories(kDownloaded);
  startArmed();
  std::vector<std::wstring> trees(std::begin(kTrees), std::end(kTrees));
  trees.insert(trees.end(), std::begin(kOtherTrees), std::end(kOtherTrees));
  for (const std::wstring& tree : trees)
    EXPECT_TRUE(reportedOnceWritten(tree + L"\\every.pdf.exe", "x")) << toUtf8(tree);
  EXPECT_EQ(log().find("real-time: "), std::string::npos);
}

TEST_F(Realtime, OtherTreesAreNotWatched) {
  const std::wstring outside[] = {L"C:\\korvel-outside\\x.pdf.exe",
                                  L"C:\\Windows\\korvel-outside\\x.pdf.exe"};
  startArmed();
  for (const std::wstring& file : outside) writeFile(file, "x");
  const std::wstring next = watchedFolder(L"C:\\Users\\korvel-test\\t11") + L"\\next.pdf.exe";
  writeFile(next, "x");
  EXPECT_TRUE(reported(next));
  for (const std::wstring& file : outside) {
    EXPECT_EQ(paths_.count(file), 0u) << toUtf8(file);
    removeTree(parentDirectory(file));
  }
}

TEST_F(Realtime, SwitchedOnAtRunTimeItWatchesNothingBeforeTheRestart) {
  writeSettings("RealTimeEnabled=0\n");
  startService();
  SettingsFields changed = settings();
  changed.realTimeEnabled = true;
  reply(ipc::Opcode::kSetConfig, ipc::encodeSettings(changed));
  ::Sleep(500);
  writeFile(L"C:\\Users\\korvel-test\\t8\\x.pdf.exe", "x");
  ::Sleep(1'500);
  EXPECT_TRUE(progress().events.empty());
  stopService();
  startArmed();
}

TEST_F(Realtime, AReloadDoesNotReachTheWatcherBeforeTheRestart) {
  const std::wstring signatures = folder().write(L"changing.txt", std::string(64, '0') + "\n");
  writeSettings("SignatureDb=" + toUtf8(signatures) + "\n");
  startArmed();
  writeFile(signatures, eicarSignatures());
  reply(ipc::Opcode::kReloadSignatures);

  const std::wstring tree = watchedFolder(L"C:\\Users\\korvel-test\\t9");
  const std::wstring listed = tree + L"\\eicar.com";
  const std::wstring next = tree + L"\\next.pdf.exe";
  writeFile(listed, eicarText());
  writeFile(next, "x");
  ASSERT_TRUE(reported(next));
  EXPECT_EQ(paths_.count(listed), 0u);
  scan({tree});
  EXPECT_EQ(results().size(), 2u);

  stopService();
  startArmed();
  EXPECT_TRUE(reportedOnceWritten(listed, eicarText()));
}

TEST_F(Realtime, NothingIsQuarantinedUnasked) {
  writeSettings("QuarantineOnDetect=1\n");
  startArmed();
  const std::wstring tree = watchedFolder(L"C:\\Users\\korvel-test\\t10");
  const std::wstring path = tree + L"\\x.pdf.exe";
  writeFile(path, "x");
  ASSERT_TRUE(reported(path));
  scan({tree});
  EXPECT_EQ(results().size(), 1u);
  EXPECT_TRUE(pathExists(path));
  EXPECT_TRUE(quarantine().empty());
}

TEST_F(Realtime, EachEventIsHandedOutOnce) {
  startArmed();
  const std::wstring tree = watchedFolder(L"C:\\Users\\korvel-test\\t4");
  const std::wstring path = tree + L"\\once.pdf.exe";
  const std::wstring next = tree + L"\\next.pdf.exe";
  writeFile(path, "x");
  ASSERT_TRUE(reported(path));
  writeFile(next, "x");
  ASSERT_TRUE(reported(next));  // so every event of the file before it has come too
  for (const ThreatEvent& event : progress().events) EXPECT_NE(event.path, path);
}

TEST_F(Realtime, ABurstOfAThousandFilesIsSurvived) {
  startArmed();
  for (int i = 0; i < 1'000; ++i) {
    writeFile(L"C:\\Users\\korvel-test\\burst\\" + std::to_wstring(i) + L".pdf.exe", "x");
  }
  // What overflows the buffer is lost, which may include this file.
  EXPECT_TRUE(reportedOnceWritten(L"C:\\Users\\korvel-test\\t5\\after.pdf.exe", "x"));
  EXPECT_TRUE(service().running());
}

TEST_F(Realtime, WithoutADatabaseTheWatcherSaysSo) {
  writeSettings("SignatureDb=C:\\missing.txt\n");
  startService();
  EXPECT_TRUE(logGets("[ERR] real-time: signature database is not loaded\n"));
}

TEST_F(Realtime, SwitchedOffItWatchesNothing) {
  writeSettings("ProtectionEnabled=0\n");
  startService();
  EXPECT_TRUE(logGets("workers started (scheduled=off, realtime=off)\n"));
  ::Sleep(500);
  writeFile(L"C:\\Users\\korvel-test\\t6\\x.pdf.exe", "x");
  ::Sleep(1'500);
  collectEvents();
  EXPECT_TRUE(paths_.empty());
}

}  // namespace
}  // namespace korvel::test

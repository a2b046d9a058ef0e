#include "remedy/hosts_file.h"

#include <gtest/gtest.h>

#include <random>

#include "base/files.h"
#include "base/unique_resource.h"
#include "support/brief_hold.h"
#include "support/eventually.h"
#include "support/held_moves.h"
#include "support/temp_folder.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

const std::string kUserLines = "127.0.0.1 localhost\n::1 localhost\n";
const std::string kBlockOfOne =
    "# KORVEL WEB SHIELD BEGIN\n127.0.0.1 a.com # korvel-blocked\n127.0.0.1 www.a.com # korvel-blocked\n"
    "# KORVEL WEB SHIELD END\n";
const std::string kApplied = kUserLines + "\n" + kBlockOfOne;

class HostsFile : public testing::Test {
 protected:
  bool apply(const std::vector<std::string>& domains) {
    error_ = "";
    return applyBlocklistTo(hosts_, domains, &error_);
  }
  bool remove() {
    error_ = "";
    return removeBlocklistFrom(hosts_, &error_);
  }
  void write(std::string_view text) const { test::writeFile(hosts_, text); }
  std::string text() const { return test::readFile(hosts_); }
  bool temporaryExists() const { return pathExists(hosts_ + L".korvel.tmp"); }
  UniqueHandle hold(DWORD sharing) const {
    return UniqueHandle(::CreateFileW(hosts_.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  }

  test::TempFolder folder_;
  std::wstring hosts_ = folder_.at(L"hosts");
  std::string error_;
};

TEST(HostsFilePath, LiesInTheWindowsDirectory) {
  wchar_t windows[MAX_PATH] = {};
  ASSERT_NE(::GetWindowsDirectoryW(windows, MAX_PATH), 0u);
  EXPECT_EQ(hostsFilePath(), std::wstring(windows) + L"\\System32\\drivers\\etc\\hosts");
}

TEST(HostsFilePath, IsTheFileThatTheShieldWorksOn) {
  if (!test::isTestMachine()) GTEST_SKIP() << "changes the system's hosts file; see isTestMachine()";
  const std::string before = test::readFile(hostsFilePath());
  std::string error;
  ASSERT_TRUE(applyBlocklist({"a.com", "b.com"}, &error)) << error;
  EXPECT_EQ(countBlockedEntries(), 4u);
  EXPECT_NE(test::readFile(hostsFilePath()).find("127.0.0.1 www.b.com # korvel-blocked\n"),
            std::string::npos);
  ASSERT_TRUE(removeBlocklist(&error)) << error;
  EXPECT_EQ(countBlockedEntries(), 0u);
  test::writeFile(hostsFilePath(), before);
}

TEST_F(HostsFile, ApplyingWritesTheBlockBehindTheUserLines) {
  write(kUserLines);
  EXPECT_TRUE(apply({"a.com"})) << error_;
  EXPECT_EQ(text(), kApplied);
  EXPECT_EQ(countBlockedEntriesIn(hosts_), 2u);
  EXPECT_FALSE(temporaryExists());
}

TEST_F(HostsFile, ApplyingTwiceGivesTheSameFile) {
  write(kUserLines);
  EXPECT_TRUE(apply({"a.com"}));
  EXPECT_TRUE(apply({"a.com"}));
  EXPECT_EQ(text(), kApplied);
}

TEST_F(HostsFile, RemovingGivesTheUserLinesBack) {
  write(kApplied);
  EXPECT_TRUE(remove()) << error_;
  EXPECT_EQ(text(), kUserLines + "\n");
  EXPECT_EQ(countBlockedEntriesIn(hosts_), 0u);
}

TEST_F(HostsFile, FileWithoutMarkersIsLeftByteIdenticalAndUntouchedByRemoving) {
  write("127.0.0.1 localhost\r\n\r\n no end");
  const UniqueHandle holder = hold(FILE_SHARE_READ);  // a write of any kind would fail
  EXPECT_TRUE(remove()) << error_;
  EXPECT_EQ(text(), "127.0.0.1 localhost\r\n\r\n no end");
}

TEST_F(HostsFile, MissingFileIsEmpty) {
  EXPECT_EQ(countBlockedEntriesIn(hosts_), 0u);
  EXPECT_TRUE(remove());
  EXPECT_FALSE(pathExists(hosts_));
  EXPECT_TRUE(apply({"a.com"})) << error_;
  EXPECT_EQ(text(), "\n" + kBlockOfOne);
}

TEST_F(HostsFile, ReadOnlyFileIsReplacedAndLosesTheAttribute) {
  write(kUserLines);
  ::SetFileAttributesW(hosts_.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
  EXPECT_TRUE(apply({"a.com"})) << error_;
  EXPECT_EQ(text(), kApplied);
  EXPECT_EQ(::GetFileAttributesW(hosts_.c_str()) & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN), 0u);
}

TEST_F(HostsFile, LockedFileStaysButForItsAttributesAndTheTemporaryGoes) {
  write(kUserLines);
  ::SetFileAttributesW(hosts_.c_str(), FILE_ATTRIBUTE_READONLY);
  {
    const UniqueHandle holder = hold(FILE_SHARE_READ);
    EXPECT_FALSE(apply({"a.com"}));
    EXPECT_EQ(error_, "cannot replace hosts, win32=5");
  }
  EXPECT_EQ(text(), kUserLines);
  EXPECT_EQ(::GetFileAttributesW(hosts_.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
  EXPECT_FALSE(temporaryExists());
  write(kApplied);
  {
    const UniqueHandle holder = hold(FILE_SHARE_READ);
    EXPECT_FALSE(remove());
    EXPECT_EQ(error_, "cannot replace hosts, win32=5");
  }
  EXPECT_EQ(text(), kApplied);
}

TEST_F(HostsFile, UnreadableFileKeepsTheUserLines) {
  write(kApplied);
  {
    const UniqueHandle holder = hold(/*sharing=*/0);
    EXPECT_FALSE(apply({"b.com"}));
    EXPECT_EQ(error_, "cannot replace hosts, win32=32");
    EXPECT_TRUE(remove());  // sees no marker, so there is nothing to remove
    EXPECT_EQ(countBlockedEntriesIn(hosts_), 0u);
  }
  EXPECT_EQ(text(), kApplied);
  EXPECT_FALSE(temporaryExists());
}

TEST_F(HostsFile, TemporaryThatCannotBeCreatedIsAFailure) {
  hosts_ = folder_.at(L"missing\\hosts");
  EXPECT_FALSE(apply({"a.com"}));
  EXPECT_EQ(error_, "cannot write temp hosts");
}

TEST_F(HostsFile, FullDiskIsAFailureThatKeepsTheFile) {
  hosts_ = test::fullFolder() + L"\\hosts";
  write(kUserLines);
  EXPECT_FALSE(apply({"a.com"}));
  EXPECT_EQ(error_, "cannot write temp hosts");
  EXPECT_EQ(text(), kUserLines);
}

TEST_F(HostsFile, FolderInThePlaceOfTheTemporaryIsAFailure) {
  write(kUserLines);
  createDirectories(hosts_ + L".korvel.tmp");
  EXPECT_FALSE(apply({"a.com"}));
  EXPECT_EQ(error_, "cannot write temp hosts");
  EXPECT_EQ(text(), kUserLines);
}

TEST_F(HostsFile, RemovingThatCannotWriteFailsAndKeepsTheFile) {
  write(kApplied);
  createDirectories(hosts_ + L".korvel.tmp");
  EXPECT_FALSE(remove());
  EXPECT_EQ(error_, "cannot write temp hosts");
  EXPECT_EQ(text(), kApplied);
}

TEST_F(HostsFile, MarkerTextInsideALongerLineIsTheUsersLine) {
  const std::string lines =
      "10.0.0.1 a # KORVEL WEB SHIELD BEGIN of mine\n10.0.0.2 b\n## KORVEL WEB SHIELD END\n10.0.0.3 c\n";
  write(lines);
  EXPECT_EQ(countBlockedEntriesIn(hosts_), 0u);
  EXPECT_TRUE(remove()) << error_;
  EXPECT_EQ(text(), lines);
  EXPECT_TRUE(apply({"a.com"})) << error_;
  EXPECT_EQ(text(), lines + "\n" + kBlockOfOne);
}

// The text of a marker anywhere is enough to write the file anew, and that makes every line end LF.
TEST_F(HostsFile, MarkerTextInsideALongerLineMakesRemovingRewriteTheFile) {
  write("10.0.0.1 a # KORVEL WEB SHIELD BEGIN of mine\r\n10.0.0.2 b\r\n");
  EXPECT_TRUE(remove()) << error_;
  EXPECT_EQ(text(), "10.0.0.1 a # KORVEL WEB SHIELD BEGIN of mine\n10.0.0.2 b\n");
}

TEST_F(HostsFile, AFileThatReadsSoAlreadyIsNotWritten) {
  write(kApplied);
  const UniqueHandle holder = hold(FILE_SHARE_READ);  // a write of any kind would fail
  EXPECT_TRUE(apply({"a.com"})) << error_;
  EXPECT_EQ(text(), kApplied);
}

TEST_F(HostsFile, ALinkAtTheTemporarysNameIsNotWrittenThrough) {
  write(kUserLines);
  const std::wstring victim = folder_.write(L"victim", "of great value");
  ASSERT_TRUE(::CreateHardLinkW((hosts_ + L".korvel.tmp").c_str(), victim.c_str(), nullptr));
  EXPECT_TRUE(apply({"a.com"})) << error_;
  EXPECT_EQ(test::readFile(victim), "of great value");
  EXPECT_EQ(text(), kApplied);
}

TEST_F(HostsFile, IsReplacedOnceAProgramThatHeldItLetsGo) {
  write(kUserLines);
  {
    const test::BriefHold held(hosts_);
    EXPECT_TRUE(apply({"a.com"})) << error_;
  }
  EXPECT_EQ(text(), kApplied);
  const test::BriefHold held(hosts_);
  EXPECT_TRUE(remove()) << error_;
}

TEST_F(HostsFile, AStopEndsTheWaitingForAHeldFile) {
  write(kApplied);
  {
    const test::HeldMoves held;
    EXPECT_FALSE(applyBlocklistTo(hosts_, {"b.com"}, &error_, held.stop()));
    EXPECT_EQ(held.tries(), 1);
    EXPECT_EQ(error_, "cannot replace hosts, win32=5");
  }
  const test::HeldMoves held;
  EXPECT_FALSE(removeBlocklistFrom(hosts_, &error_, held.stop()));
  EXPECT_EQ(held.tries(), 1);
  EXPECT_EQ(text(), kApplied);
  EXPECT_FALSE(temporaryExists());
}

TEST_F(HostsFile, ErrorMayBeNull) {
  hosts_ = folder_.at(L"missing\\hosts");
  EXPECT_FALSE(applyBlocklistTo(hosts_, {}, nullptr));
  EXPECT_TRUE(removeBlocklistFrom(hosts_, nullptr));
}

TEST_F(HostsFile, LeftoverTemporaryOfAKilledRunIsOverwritten) {
  write(kUserLines);
  test::writeFile(hosts_ + L".korvel.tmp", std::string(100'000, 'x'));
  EXPECT_TRUE(apply({"a.com"})) << error_;
  EXPECT_EQ(text(), kApplied);
  EXPECT_FALSE(temporaryExists());
}

// --- killed at any moment ---

/// Starts hosts_victim.exe, which lies beside this program and rewrites `hosts` without end.
UniqueHandle startVictim(const std::wstring& hosts) {
  wchar_t self[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring folder = self;
  folder.resize(folder.find_last_of(L'\\') + 1);
  std::wstring command = L"\"" + folder + L"hosts_victim.exe\" \"" + hosts + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process)) {
    return {};
  }
  ::CloseHandle(process.hThread);
  return UniqueHandle(process.hProcess);
}

TEST_F(HostsFile, KillAtAnyMomentLosesNoUserLine) {
  std::string userLines;
  for (int i = 0; i < 3000; ++i)
    userLines += "10.0.0." + std::to_string(i % 256) + " host" + std::to_string(i) + "\n";
  write(userLines);
  std::mt19937 random(static_cast<unsigned>(::GetTickCount64()));
  std::uniform_int_distribution<DWORD> pauseMs(0, 60);
  int withBlock = 0;
  int withTemporary = 0;
  for (int kill = 0; kill < 50; ++kill) {
    const UniqueHandle victim = startVictim(hosts_);
    ASSERT_TRUE(victim) << ::GetLastError();
    // The victim creates this file when it has begun.
    ASSERT_TRUE(test::eventually([this] { return pathExists(hosts_ + L".started"); }));
    ::Sleep(pauseMs(random));
    ASSERT_TRUE(::TerminateProcess(victim.get(), 1));
    ASSERT_EQ(::WaitForSingleObject(victim.get(), 30'000), WAIT_OBJECT_0);
    ::DeleteFileW((hosts_ + L".started").c_str());

    const std::string after = text();
    const size_t block = after.find("# KORVEL WEB SHIELD BEGIN\n");
    if (block != std::string::npos) {
      ++withBlock;
      EXPECT_EQ(after.substr(0, block), userLines + "\n");
      EXPECT_TRUE(after.ends_with("# KORVEL WEB SHIELD END\n"));
      EXPECT_EQ(countBlockedEntriesIn(hosts_), 20'000u);
    } else {
      EXPECT_TRUE(after == userLines || after == userLines + "\n");
    }
    withTemporary += temporaryExists() ? 1 : 0;
    ASSERT_FALSE(HasFailure()) << "kill " << kill;
  }
  std::printf("50 kills: %d left the block, %d a temporary file\n", withBlock, withTemporary);
}

}  // namespace
}  // namespace korvel

#include "scan/directory_walk.h"

#include <algorithm>

#include "base/files.h"
#include "base/text.h"
#include "base/utf.h"
#include "scan_fixture.h"
#include "support/eventually.h"
#include "support/test_servers.h"

namespace korvel {
namespace {

class DirectoryWalkTest : public test::ScanFixture {
 protected:
  std::vector<std::wstring> walk(const std::wstring& path, bool recursive) {
    std::vector<std::wstring> found;
    DirectoryWalk walk({path, recursive}, /*followSymlinks=*/false, cancel_.get_token());
    for (WalkedFile file; walk.next(file);) found.push_back(file.path);
    std::sort(found.begin(), found.end());
    return found;
  }

  StopSource cancel_;
};

TEST_F(DirectoryWalkTest, RecursiveTargetYieldsEveryFileWithItsFullPath) {
  folder_.write(L"a.txt", "1");
  folder_.write(L"sub\\b.txt", "22");
  folder_.write(L"sub\\deep\\в.txt", "333");
  EXPECT_EQ(walk(folder_.path(), true),
            (std::vector<std::wstring>{folder_.at(L"a.txt"), folder_.at(L"sub\\b.txt"),
                                       folder_.at(L"sub\\deep\\в.txt")}));
}

TEST_F(DirectoryWalkTest, NonRecursiveTargetYieldsOnlyItsDirectFiles) {
  folder_.write(L"a.txt", "1");
  folder_.write(L"sub\\b.txt", "22");
  EXPECT_EQ(walk(folder_.path(), false), std::vector<std::wstring>{folder_.at(L"a.txt")});
}

TEST_F(DirectoryWalkTest, ListsTheSizeOfEachFile) {
  folder_.write(L"a.bin", std::string(70'000, 'x'));
  DirectoryWalk walk({folder_.path(), true}, false, cancel_.get_token());
  WalkedFile file;
  ASSERT_TRUE(walk.next(file));
  EXPECT_EQ(file.size, 70'000u);
  EXPECT_FALSE(walk.next(file));
}

TEST_F(DirectoryWalkTest, FileMissingPathAndBadNameYieldNothing) {
  EXPECT_TRUE(walk(folder_.write(L"a.txt", "1"), true).empty());
  EXPECT_TRUE(walk(folder_.at(L"missing"), true).empty());
  EXPECT_TRUE(walk(L"C:\\bad|name?", true).empty());
  EXPECT_TRUE(walk(L"", true).empty());
}

TEST_F(DirectoryWalkTest, EmptyDirectoryYieldsNothing) { EXPECT_TRUE(walk(folder_.path(), true).empty()); }

TEST_F(DirectoryWalkTest, TargetWithTrailingSeparatorGetsNoSecondOne) {
  folder_.write(L"a.txt", "1");
  EXPECT_EQ(walk(folder_.path() + L"\\", true), std::vector<std::wstring>{folder_.path() + L"\\a.txt"});
}

TEST_F(DirectoryWalkTest, CancelEndsTheWalkBeforeTheNextEntry) {
  for (int i = 0; i < 10; ++i) folder_.write(std::to_wstring(i) + L".txt", "x");
  DirectoryWalk walk({folder_.path(), true}, false, cancel_.get_token());
  WalkedFile file;
  ASSERT_TRUE(walk.next(file));
  cancel_.request_stop();
  EXPECT_FALSE(walk.next(file));
}

TEST_F(DirectoryWalkTest, CancelledBeforeTheStartYieldsNothing) {
  folder_.write(L"a.txt", "1");
  cancel_.request_stop();
  EXPECT_TRUE(walk(folder_.path(), true).empty());
}

TEST_F(DirectoryWalkTest, FilesBelowVeryLongPathsAreFound) {
  std::wstring deep;
  for (int i = 0; i < 12; ++i) deep += std::wstring(30, static_cast<wchar_t>(L'a' + i)) + L"\\";
  const std::wstring path = folder_.at(deep + L"end.txt");
  ASSERT_GT(path.size(), 260u);
  test::writeFile(path, "x");
  EXPECT_EQ(walk(folder_.path(), true), std::vector<std::wstring>{path});
}

/// Folders beside a real excluded one, whose names begin like its name or nearly so.
class ExcludedDirectoryTest : public DirectoryWalkTest {
 protected:
  void SetUp() override {
    if (!test::isTestMachine()) GTEST_SKIP() << "writes into the machine's own folders";
    test::writeFile(excluded_ + L"\\direct.txt", "x");
    test::writeFile(excluded_ + L"\\sub\\deep.txt", "x");
    test::writeFile(other_ + L"\\sub\\seen.txt", "x");
  }
  void TearDown() override {
    test::removeTree(excluded_);
    test::removeTree(other_);
  }

  const std::wstring parent_ = L"C:\\ProgramData\\Microsoft";
  const std::wstring excluded_ = parent_ + L"\\Windows Defender of Korvel's tests";
  const std::wstring other_ = parent_ + L"\\Windows Defence of Korvel's tests";
};

TEST_F(ExcludedDirectoryTest, IsNotEnteredWhateverItsCase) {
  const std::vector<std::wstring> found = walk(parent_, true);
  EXPECT_TRUE(std::count(found.begin(), found.end(), other_ + L"\\sub\\seen.txt"));
  EXPECT_FALSE(std::count(found.begin(), found.end(), excluded_ + L"\\direct.txt"));
  EXPECT_FALSE(std::count(found.begin(), found.end(), excluded_ + L"\\sub\\deep.txt"));
}

TEST_F(ExcludedDirectoryTest, IsListedAsATargetButNotEnteredFurther) {
  EXPECT_EQ(walk(excluded_, true), std::vector<std::wstring>{excluded_ + L"\\direct.txt"});
}

TEST_F(ExcludedDirectoryTest, TheComponentStoreIsNotEnteredFromTheSystemsFolder) {
  const std::wstring store = L"C:\\Windows\\WinSxS\\korvel test";
  const std::wstring beside = L"C:\\Windows\\Win korvel test";
  test::writeFile(store + L"\\deep\\a.exe", "x");
  test::writeFile(L"C:\\Windows\\WinSxS\\korvel test.exe", "x");
  test::writeFile(beside + L"\\a.exe", "x");
  const std::vector<std::wstring> found = walk(L"C:\\Windows", true);
  EXPECT_TRUE(std::count(found.begin(), found.end(), beside + L"\\a.exe"));
  for (const std::wstring& path : found)
    EXPECT_FALSE(lowerWide(path).starts_with(L"c:\\windows\\winsxs")) << toUtf8(path);
  test::removeTree(store);
  test::removeTree(L"C:\\Windows\\WinSxS\\korvel test.exe");
  test::removeTree(beside);
}

/// Folders a to e with one file each. Their files come in this order.
class BarredDirectoryTest : public DirectoryWalkTest {
 protected:
  BarredDirectoryTest() {
    for (wchar_t name = L'a'; name <= L'e'; ++name) folder_.write(std::wstring(1, name) + L"\\f.txt", "x");
  }
  std::vector<std::wstring> filesOf(const std::wstring& folders) {
    std::vector<std::wstring> files;
    for (const wchar_t name : folders) files.push_back(folder_.at(std::wstring(1, name) + L"\\f.txt"));
    return files;
  }
};

TEST_F(BarredDirectoryTest, AFolderThatAnotherProgramHoldsIsPassedOver) {
  const UniqueHandle holder(::CreateFileW(folder_.at(L"c").c_str(), GENERIC_READ | DELETE, /*share=*/0,
                                          nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  ASSERT_TRUE(holder);
  EXPECT_EQ(walk(folder_.path(), true), filesOf(L"abde"));
}

TEST_F(BarredDirectoryTest, AFolderThatIsGoneSinceItWasListedIsPassedOver) {
  DirectoryWalk walk({folder_.path(), true}, false, cancel_.get_token());
  std::vector<std::wstring> found;
  for (WalkedFile file; walk.next(file);) {
    if (found.empty()) test::removeTree(folder_.at(L"c"));
    found.push_back(file.path);
  }
  EXPECT_EQ(found, filesOf(L"abde"));
}

/// Codes of a folder that cannot be listed, of a listing that breaks off, and the folder that has them.
struct Failing {
  std::wstring folder;
  DWORD code = ERROR_SUCCESS;
  HANDLE find = INVALID_HANDLE_VALUE;

  static Failing& now() {
    static Failing failing;
    return failing;
  }
};

HANDLE WINAPI findFirstUnlessFailing(const wchar_t* path, FINDEX_INFO_LEVELS level, void* entry,
                                     FINDEX_SEARCH_OPS operation, void* filter, DWORD flags) {
  if (!std::wstring_view(path).ends_with(Failing::now().folder + L"\\*")) {
    return ::FindFirstFileExW(path, level, entry, operation, filter, flags);
  }
  ::SetLastError(Failing::now().code);
  return INVALID_HANDLE_VALUE;
}

HANDLE WINAPI findFirstAndRemember(const wchar_t* path, FINDEX_INFO_LEVELS level, void* entry,
                                   FINDEX_SEARCH_OPS operation, void* filter, DWORD flags) {
  const HANDLE find = ::FindFirstFileExW(path, level, entry, operation, filter, flags);
  if (std::wstring_view(path).ends_with(Failing::now().folder + L"\\*")) Failing::now().find = find;
  return find;
}

BOOL WINAPI findNextUnlessFailing(HANDLE find, WIN32_FIND_DATAW* entry) {
  if (find != Failing::now().find) return ::FindNextFileW(find, entry);
  Failing::now().find = INVALID_HANDLE_VALUE;  // the next listing may get the same handle
  ::SetLastError(Failing::now().code);
  return FALSE;
}

class FailingListingTest : public BarredDirectoryTest {
 protected:
  void SetUp() override { Failing::now() = {L"\\c", ERROR_SUCCESS, INVALID_HANDLE_VALUE}; }

  std::vector<std::wstring> walkWith(const FileCalls& calls) {
    std::vector<std::wstring> found;
    DirectoryWalk walk({folder_.path(), true}, /*followSymlinks=*/false, cancel_.get_token(), calls);
    for (WalkedFile file; walk.next(file);) found.push_back(file.path);
    return found;
  }

  FileCalls calls_ = FileCalls::windows();
};

// Gone, held, kept by a provider that is away, corrupt, out of reach.
constexpr DWORD kReasonsNotToEnter[] = {2, 3, 5, 21, 32, 362, 369, 1392, 1920};

TEST_F(FailingListingTest, AFolderThatCannotBeEnteredIsPassedOverWhateverTheReason) {
  calls_.findFirstFile = findFirstUnlessFailing;
  for (const DWORD code : kReasonsNotToEnter) {
    Failing::now().code = code;
    EXPECT_EQ(walkWith(calls_), filesOf(L"abde")) << code;
  }
}

TEST_F(FailingListingTest, CountingAndScanningPassItOverToo) {
  for (wchar_t name = L'a'; name <= L'e'; ++name) folder_.write(std::wstring(1, name) + L"\\f.exe", "x");
  calls_.findFirstFile = findFirstUnlessFailing;
  for (const DWORD code : kReasonsNotToEnter) {
    Failing::now().code = code;
    FileScanner scanner(databaseOf(""), ScanOptions{}, /*stop=*/{}, calls_);
    EXPECT_EQ(scanner.measure({{folder_.path(), true}}).filesTotal, 4u) << code;
    EXPECT_EQ(scanner.scan({{folder_.path(), true}}, nullptr, nullptr).filesScanned, 4u) << code;
  }
}

TEST_F(FailingListingTest, AListingThatBreaksOffEndsTheWalkOfItsTargetOnly) {
  calls_.findFirstFile = findFirstAndRemember;
  calls_.findNextFile = findNextUnlessFailing;
  for (const DWORD code : kReasonsNotToEnter) {
    Failing::now().code = code;
    EXPECT_EQ(walkWith(calls_), filesOf(L"ab")) << code;
  }
  for (wchar_t name = L'a'; name <= L'e'; ++name) folder_.write(std::wstring(1, name) + L"\\f.exe", "x");
  const FileScanner scanner(databaseOf(""), ScanOptions{}, /*stop=*/{}, calls_);
  EXPECT_EQ(scanner.measure({{folder_.path(), true}, {folder_.at(L"e"), true}}).filesTotal, 3u);
}

/// The test platform makes no links itself, but the system below it does.
class LinkTest : public DirectoryWalkTest {
 protected:
  void SetUp() override {
    if (!pathExists(kLinkProgram)) GTEST_SKIP() << "links cannot be made here";
  }
  /// A link in the test's folder; its target is relative to that folder.
  void link(const std::string& target, const std::string& name) {
    std::wstring command = toWide("ln -s " + target + " " + name);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(::CreateProcessW(kLinkProgram, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                 folder_.path().c_str(), &startup, &process));
    const UniqueHandle ended(process.hProcess), thread(process.hThread);
    ASSERT_TRUE(test::eventually([&] { return pathExists(folder_.at(toWide(name))); })) << name;
  }
  std::vector<std::wstring> walkFollowing() {
    DirectoryWalk walk({folder_.path(), true}, /*followSymlinks=*/true, cancel_.get_token());
    std::vector<std::wstring> found;
    for (WalkedFile file; walk.next(file);) found.push_back(file.path);
    std::sort(found.begin(), found.end());
    return found;
  }

  static constexpr const wchar_t* kLinkProgram = L"\\\\?\\unix\\bin\\ln";
};

TEST_F(LinkTest, ALinkToAFolderIsNeitherHandedOutNorEntered) {
  const std::wstring file = folder_.write(L"real\\a.txt", "x");
  link("real", "link");
  EXPECT_EQ(walk(folder_.path(), true), std::vector<std::wstring>{file});
}

TEST_F(LinkTest, ALinkToAFolderAboveMakesNoLoop) {
  const std::wstring file = folder_.write(L"real\\a.txt", "x");
  link("..", "real/up");
  link(".", "here");
  EXPECT_EQ(walk(folder_.path(), true), std::vector<std::wstring>{file});
}

TEST_F(LinkTest, AFollowedLinkIsHandedOutAsAFileButNotEntered) {
  const std::wstring file = folder_.write(L"real\\a.txt", "x");
  link("real", "link");
  EXPECT_EQ(walkFollowing(), (std::vector<std::wstring>{folder_.at(L"link"), file}));
}

TEST_F(LinkTest, ATargetThatIsALinkIsWalked) {
  folder_.write(L"real\\deep\\a.txt", "x");
  link("real", "link");
  EXPECT_EQ(walk(folder_.at(L"link"), true), std::vector<std::wstring>{folder_.at(L"link\\deep\\a.txt")});
}

}  // namespace
}  // namespace korvel

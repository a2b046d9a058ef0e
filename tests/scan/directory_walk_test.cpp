#include "scan/directory_walk.h"

#include <algorithm>

#include "base/long_path.h"
#include "scan_fixture.h"
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

  std::stop_source cancel_;
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

TEST(ForFileApi, OnlyLongAbsolutePathsGetThePrefix) {
  const std::wstring tail(300, L'x');
  EXPECT_EQ(forFileApi(L"C:\\short"), L"C:\\short");
  EXPECT_EQ(forFileApi(L"C:/a/" + tail), L"\\\\?\\C:\\a\\" + tail);
  EXPECT_EQ(forFileApi(L"\\\\server\\share\\" + tail), L"\\\\?\\UNC\\server\\share\\" + tail);
  EXPECT_EQ(forFileApi(L"\\\\?\\C:\\" + tail), L"\\\\?\\C:\\" + tail);
  EXPECT_EQ(forFileApi(L"relative\\" + tail), L"relative\\" + tail);
}

}  // namespace
}  // namespace korvel

#include "base/paths.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(FileName, IsWhatStandsAfterTheLastSeparator) {
  EXPECT_EQ(fileName(L"C:\\a\\b.exe"), L"b.exe");
  EXPECT_EQ(fileName(L"C:/a/b.exe"), L"b.exe");
  EXPECT_EQ(fileName(L"C:\\a/b\\c d.txt"), L"c d.txt");
  EXPECT_EQ(fileName(L"b.exe"), L"b.exe");
  EXPECT_EQ(fileName(L"C:\\a\\"), L"");
  EXPECT_EQ(fileName(L""), L"");
}

TEST(RootLength, CoversDrivesRootsAndShares) {
  EXPECT_EQ(rootLength(L""), 0u);
  EXPECT_EQ(rootLength(L"a\\b"), 0u);
  EXPECT_EQ(rootLength(L"C:"), 2u);
  EXPECT_EQ(rootLength(L"C:a"), 2u);
  EXPECT_EQ(rootLength(L"C:\\"), 3u);
  EXPECT_EQ(rootLength(L"C:\\a"), 3u);
  EXPECT_EQ(rootLength(L"C:/a"), 3u);
  EXPECT_EQ(rootLength(L"C:\\\\a"), 4u);
  EXPECT_EQ(rootLength(L"\\a"), 1u);
  EXPECT_EQ(rootLength(L"\\\\"), 2u);
  EXPECT_EQ(rootLength(L"\\\\\\a"), 3u);
  EXPECT_EQ(rootLength(L"\\\\server"), 8u);
  EXPECT_EQ(rootLength(L"\\\\server\\share"), 14u);
  EXPECT_EQ(rootLength(L"\\\\server\\share\\"), 15u);
  EXPECT_EQ(rootLength(L"\\\\server\\share\\a\\b"), 15u);
  EXPECT_EQ(rootLength(L"//server/share/a"), 15u);
  EXPECT_EQ(rootLength(L"\\\\?\\C:\\a"), 7u);
}

TEST(ParentDirectory, DropsTheLastComponentAndTheSeparatorsBeforeIt) {
  EXPECT_EQ(parentDirectory(L"D:\\Apps\\Av\\KorvelService.exe"), L"D:\\Apps\\Av");
  EXPECT_EQ(parentDirectory(L"C:/a/b"), L"C:/a");
  EXPECT_EQ(parentDirectory(L"C:\\a\\\\/b"), L"C:\\a");
  EXPECT_EQ(parentDirectory(L"C:\\a\\b\\"), L"C:\\a");
  EXPECT_EQ(parentDirectory(L"C:\\a\\b//\\"), L"C:\\a");
  EXPECT_EQ(parentDirectory(L"a\\b"), L"a");
}

TEST(ParentDirectory, StopsAtTheRoot) {
  EXPECT_EQ(parentDirectory(L"C:\\a"), L"C:\\");
  EXPECT_EQ(parentDirectory(L"C:\\"), L"C:\\");
  EXPECT_EQ(parentDirectory(L"C:"), L"C:");
  EXPECT_EQ(parentDirectory(L"C:a"), L"C:");
  EXPECT_EQ(parentDirectory(L"\\a"), L"\\");
  EXPECT_EQ(parentDirectory(L"a"), L"");
  EXPECT_EQ(parentDirectory(L""), L"");
  EXPECT_EQ(parentDirectory(L"\\\\server\\share\\a"), L"\\\\server\\share\\");
  EXPECT_EQ(parentDirectory(L"\\\\server\\share"), L"\\\\server\\share");
}

TEST(JoinPath, AddsOneSeparatorWhereThereIsNone) {
  EXPECT_EQ(joinPath(L"C:\\a", L"b"), L"C:\\a\\b");
  EXPECT_EQ(joinPath(L"C:\\a\\", L"b"), L"C:\\a\\b");
  EXPECT_EQ(joinPath(L"C:/a/", L"b"), L"C:/a/b");
  EXPECT_EQ(joinPath(L"", L"b"), L"b");
  EXPECT_EQ(joinPath(L"C:\\", L"b"), L"C:\\b");
}

}  // namespace
}  // namespace korvel

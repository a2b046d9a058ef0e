#include "base/long_path.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

const std::wstring kLong(247, L'x');  // alone just short enough to need no prefix

TEST(LongPath, ShortPathsStayAsTheyAre) {
  for (const wchar_t* path : {L"", L"x", L"C:\\a.txt", L"C:/a.txt", L"\\\\server\\share\\a.txt"}) {
    EXPECT_EQ(forFileApi(path), path);
  }
  EXPECT_EQ(forFileApi(kLong), kLong);
  const std::wstring longest = L"C:\\" + kLong.substr(3);
  EXPECT_EQ(forFileApi(longest), longest);
}

TEST(LongPath, OneUnitMoreGetsThePrefix) {
  const std::wstring path = L"C:\\" + kLong.substr(2);
  EXPECT_EQ(forFileApi(path), L"\\\\?\\" + path);
}

TEST(LongPath, SlashesBecomeBackslashesUnderThePrefix) {
  EXPECT_EQ(forFileApi(L"C:/a/" + kLong), L"\\\\?\\C:\\a\\" + kLong);
}

TEST(LongPath, NetworkPathsGetTheirOwnPrefix) {
  EXPECT_EQ(forFileApi(L"\\\\server\\share\\" + kLong), L"\\\\?\\UNC\\server\\share\\" + kLong);
}

TEST(LongPath, PrefixedDeviceAndRelativePathsStayAsTheyAre) {
  for (const std::wstring start :
       {L"\\\\?\\C:\\", L"\\\\.\\pipe\\", L"folder\\", L"C:folder\\", L"\\rooted\\"}) {
    EXPECT_EQ(forFileApi(start + kLong), start + kLong);
  }
}

}  // namespace
}  // namespace korvel

#include "base/error.h"

#include <gtest/gtest.h>

#include "base/win.h"

namespace korvel {
namespace {

TEST(Fail, StoresItsTextAndIsFalse) {
  std::string error = "before";
  EXPECT_FALSE(fail(&error, "after"));
  EXPECT_EQ(error, "after");
  EXPECT_FALSE(fail(nullptr, "nobody asks"));
}

TEST(FailWin32, AppendsTheLastErrorInDecimalAndKeepsIt) {
  std::string error;
  ::SetLastError(12029);
  EXPECT_FALSE(failWin32(&error, "WinHttpSendRequest"));
  EXPECT_EQ(::GetLastError(), 12029u);
  EXPECT_EQ(error, "WinHttpSendRequest, win32=12029");

  ::SetLastError(0xFFFFFFFF);
  EXPECT_FALSE(failWin32(&error, "x"));
  EXPECT_EQ(error, "x, win32=4294967295");
}

TEST(SetWin32Error, PutsTheLastErrorInBrackets) {
  std::string error;
  ::SetLastError(109);
  EXPECT_FALSE(setWin32Error(&error, "ReadFile failed"));
  EXPECT_EQ(::GetLastError(), 109u);
  EXPECT_EQ(error, "ReadFile failed (win32=109)");
}

TEST(FailWin32, NeedsNobodyToAsk) {
  ::SetLastError(5);
  EXPECT_FALSE(failWin32(nullptr, "x"));
  EXPECT_FALSE(setWin32Error(nullptr, "x"));
  EXPECT_EQ(::GetLastError(), 5u);
}

// Not "Access is denied." or what this machine's language makes of it.
TEST(Win32Category, GivesExceptionsATextWithNothingButTheCode) {
  EXPECT_STREQ(std::system_error(5, win32Category(), "CreateEvent").what(), "CreateEvent: win32=5");
  EXPECT_EQ(win32Category().message(static_cast<int>(0xC0000022)), "win32=3221225506");
}

}  // namespace
}  // namespace korvel

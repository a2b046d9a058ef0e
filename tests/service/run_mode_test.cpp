#include "service/run_mode.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(ParseCommandLine, EachFlagChoosesItsMode) {
  EXPECT_EQ(parseCommandLine(L"--ping").mode, RunMode::kPingClient);
  EXPECT_EQ(parseCommandLine(L"--update-check").mode, RunMode::kUpdateCheckClient);
  EXPECT_EQ(parseCommandLine(L"--fw").mode, RunMode::kFirewallClient);
  EXPECT_EQ(parseCommandLine(L"--console").mode, RunMode::kConsole);
  EXPECT_EQ(parseCommandLine(L"").mode, RunMode::kService);
  EXPECT_EQ(parseCommandLine(L"other words").mode, RunMode::kService);
}

TEST(ParseCommandLine, PrecedenceIsPingThenUpdateCheckThenFirewallThenConsole) {
  EXPECT_EQ(parseCommandLine(L"--console --fw --update-check --ping").mode, RunMode::kPingClient);
  EXPECT_EQ(parseCommandLine(L"--console --fw --update-check").mode, RunMode::kUpdateCheckClient);
  EXPECT_EQ(parseCommandLine(L"--fw --console").mode, RunMode::kFirewallClient);
  EXPECT_EQ(parseCommandLine(L"--console --ping").mode, RunMode::kPingClient);
}

TEST(ParseCommandLine, AFlagCountsAnywhereInsideAWord) {
  EXPECT_EQ(parseCommandLine(L"--pingx").mode, RunMode::kPingClient);
  EXPECT_EQ(parseCommandLine(L"x--consoley").mode, RunMode::kConsole);
}

TEST(ParseCommandLine, CaseMatters) {
  EXPECT_EQ(parseCommandLine(L"--PING --Console").mode, RunMode::kService);
}

TEST(ParseCommandLine, OnlyServiceModeWantsNoConsole) {
  EXPECT_FALSE(parseCommandLine(L"").wantsConsole);
  EXPECT_FALSE(parseCommandLine(L"--PING other words").wantsConsole);
  for (const wchar_t* flag : {L"--ping", L"--update-check", L"--fw", L"--console"}) {
    EXPECT_TRUE(parseCommandLine(flag).wantsConsole);
  }
}

}  // namespace
}  // namespace korvel

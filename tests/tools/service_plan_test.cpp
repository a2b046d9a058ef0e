#include "korvelctl/model/service_plan.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

constexpr wchar_t kProgram[] = L"C:\\Program Files\\Korvel\\KorvelService.exe";

ServiceFacts asPlanned() {
  const ServicePlan plan = servicePlan(kProgram);
  ServiceFacts facts;
  facts.state = ScmState::kRunning;
  facts.commandLine = plan.commandLine;
  facts.account = L"LocalSystem";
  facts.startType = 2;
  facts.recovery = plan.recovery;
  return facts;
}

TEST(ServicePlan, QuotesTheProgramAndRestartsItTwiceAfterAMinute) {
  const ServicePlan plan = servicePlan(kProgram);
  EXPECT_EQ(plan.commandLine, L"\"C:\\Program Files\\Korvel\\KorvelService.exe\"");
  EXPECT_FALSE(plan.description.empty());
  EXPECT_EQ(plan.recovery, (Recovery{86'400,
                                     {{RecoveryAction::kRestart, 60'000},
                                      {RecoveryAction::kRestart, 60'000},
                                      {RecoveryAction::kNone, 0}}}));
}

TEST(ServicePlan, ARegistrationAsPlannedHasNoFault) {
  EXPECT_TRUE(serviceFaults(asPlanned(), kProgram).empty());
  EXPECT_TRUE(serviceFaults(asPlanned(), L"c:\\program files\\korvel\\korvelservice.EXE").empty());
  EXPECT_TRUE(serviceFaults(asPlanned(), {}).empty());
  EXPECT_TRUE(serviceFaults(ServiceFacts(), kProgram).empty()) << "nothing is registered";
}

TEST(ServicePlan, ABlankInAnUnquotedPathIsAFault) {
  ServiceFacts facts = asPlanned();
  facts.commandLine = kProgram;
  EXPECT_EQ(serviceFaults(facts, kProgram), std::vector<ServiceFault>{ServiceFault::kNotQuoted});
  facts.commandLine = L"C:\\Korvel\\KorvelService.exe";
  EXPECT_TRUE(serviceFaults(facts, {}).empty());
}

TEST(ServicePlan, EveryOtherDifferenceIsNamed) {
  ServiceFacts facts = asPlanned();
  facts.commandLine = L"\"D:\\old\\KorvelService.exe\"";
  facts.startType = 3;
  facts.account = L".\\ann";
  facts.recovery = Recovery{0, {{RecoveryAction::kNone, 0}}};
  EXPECT_EQ(serviceFaults(facts, kProgram),
            (std::vector<ServiceFault>{ServiceFault::kOtherProgram, ServiceFault::kNotAutomatic,
                                       ServiceFault::kOtherAccount, ServiceFault::kNoRecovery}));
}

TEST(ServicePlan, ARecoveryThatTheSystemDoesNotTellIsNotJudged) {
  ServiceFacts facts = asPlanned();
  facts.recovery.reset();
  EXPECT_TRUE(serviceFaults(facts, kProgram).empty());
}

TEST(ServicePlan, TheProgramOfACommandLineEndsWithItsQuoteOrItsEnding) {
  EXPECT_EQ(programOf(L"\"C:\\a b\\x.exe\" --flag"), L"C:\\a b\\x.exe");
  EXPECT_EQ(programOf(L"\"C:\\a b\\x.exe"), L"C:\\a b\\x.exe");
  EXPECT_EQ(programOf(L"C:\\a b\\x.EXE --flag"), L"C:\\a b\\x.EXE");
  EXPECT_EQ(programOf(L"C:\\x"), L"C:\\x");
  EXPECT_EQ(programOf(L""), L"");
}

TEST(ServicePlan, StatesHaveNamesForScripts) {
  EXPECT_STREQ(scmStateName(ScmState::kNotInstalled), "not_installed");
  EXPECT_STREQ(scmStateName(ScmState::kStopPending), "stop_pending");
  EXPECT_STREQ(scmStateName(static_cast<ScmState>(99)), "unknown");
}

}  // namespace
}  // namespace korvel::ctl

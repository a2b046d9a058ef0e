#include "fw/firewall_query.h"

#include <algorithm>
#include <chrono>

#include "fw/firewall_fixture.h"

namespace korvel::fw {
namespace {

using test::elementOf;
using test::FirewallTest;
using test::kDenied;
using test::kDeniedText;
using test::kFails;
using test::kServiceDown;
using test::kServiceDownText;
using test::kSuccessWithoutResult;
using test::ruleNamed;
using test::fwfake::Element;

constexpr char kProfilesOn[] = "prof,domain,on\nprof,private,on\nprof,public,on\n";
const std::string kUnavailable = "error,брандмауэр недоступен: не удалось обратиться к API брандмауэра: ";

class FirewallQuery : public FirewallTest {
 protected:
  void SetUp() override {
    FirewallTest::SetUp();
    if (!fake_) return;
    given({ruleNamed(L"any")});
    queryFirewallStatus();  // looks up the Windows directory, which is kept from then on
    given({});
  }
  /// The reply; checks that the query leaves nothing over.
  std::string reply() {
    std::string text;
    text.reserve(1 << 20);  // so that the reply below replaces no block of this string
    runWithoutLeftovers([&] { text.append(queryFirewallStatus()); });
    return text;
  }
  /// The reply after the profile lines.
  std::string replyAfterProfiles() {
    const std::string text = reply();
    EXPECT_EQ(text.rfind(kProfilesOn, 0), 0u) << text;
    return text.substr(std::min(text.size(), sizeof kProfilesOn - 1));
  }
};

TEST_F(FirewallQuery, TellsProfilesRulesAndTheBlock) {
  givenState({{{1, -1}, {2, -1}, {4, 0}}, {ruleNamed(L"KORVEL: app.exe (in)", L"C:\\Tools\\app.exe")}});
  EXPECT_EQ(reply(),
            "prof,domain,on\nprof,private,on\nprof,public,off\n"
            "rule,on,block,in,KORVEL: app.exe (in),C:\\Tools\\app.exe\nblockin,off\n");
}

TEST_F(FirewallQuery, AsksInOrderAndForNothingElse) {
  given({ruleNamed(L"a")});
  reply();
  EXPECT_EQ(fake_->calls(),
            (std::vector<std::string>{"create.policy()", "policy.get_FirewallEnabled(1)",
                                      "policy.get_FirewallEnabled(2)", "policy.get_FirewallEnabled(4)",
                                      "policy.get_Rules()", "rules.get__NewEnum()", "enum.Next(1)",
                                      "rule.get_Name()", "rule.get_ApplicationName()", "rule.get_Enabled()",
                                      "rule.get_Action()", "rule.get_Direction()", "enum.Next(1)"}));
}

TEST_F(FirewallQuery, CallsAProfileOnOnlyForVariantTrue) {
  givenState({{{1, 1}, {2, -1}, {4, 0}}, {}});
  EXPECT_EQ(reply(), "prof,domain,off\nprof,private,on\nprof,public,off\nblockin,off\n");
}

TEST_F(FirewallQuery, WritesEachStateOfARule) {
  std::vector<Element> rules(5, ruleNamed(L"n", L"D:\\a"));
  rules[1].enabled = 1;
  rules[1].action = 1;
  rules[1].direction = 2;
  rules[2].enabled = 0;
  rules[2].action = 2;
  rules[2].direction = 3;
  rules[3].direction = 0;
  rules[4].action = -1;
  given(rules);
  EXPECT_EQ(replyAfterProfiles(),
            "rule,on,block,in,n,D:\\a\n"
            "rule,off,allow,out,n,D:\\a\n"
            "rule,off,allow,both,n,D:\\a\n"
            "rule,on,block,both,n,D:\\a\n"
            "rule,on,allow,in,n,D:\\a\n"
            "blockin,off\n");
}

TEST_F(FirewallQuery, SeesTheBlockRuleInAnyCase) {
  given({ruleNamed(L"korvel: block all inbound", L"")});
  EXPECT_EQ(replyAfterProfiles(), "blockin,on\n");
}

TEST_F(FirewallQuery, HidesRulesOfSystemProgramsButNotOwnOnes) {
  given({ruleNamed(L"x", L"C:\\WINDOWS\\system32\\svchost.exe"),
         ruleNamed(L"KORVEL: x", L"C:\\WINDOWS\\system32\\svchost.exe"),
         ruleNamed(L"korvel:y", L"c:\\windows\\y.exe")});
  EXPECT_EQ(replyAfterProfiles(),
            "rule,on,block,in,KORVEL: x,C:\\WINDOWS\\system32\\svchost.exe\n"
            "rule,on,block,in,korvel:y,c:\\windows\\y.exe\n"
            "blockin,off\n");
}

TEST_F(FirewallQuery, ListsNoRuleWithoutAnApplication) {
  Element nameless = ruleNamed(L"", L"C:\\a.exe");
  nameless.name.reset();
  Element programless = ruleNamed(L"KORVEL: a");
  programless.application.reset();
  given({nameless, programless, ruleNamed(L"KORVEL: b", L"")});
  EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,,C:\\a.exe\nblockin,off\n");
  EXPECT_EQ(countCalls("get_Enabled"), 1u);
}

TEST_F(FirewallQuery, EscapesNamesAndApplications) {
  given({ruleNamed(L"a,b\r\nв", L"C:\\a,b\n.exe")});
  EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,a\\,b  в,C:\\a\\,b .exe\nblockin,off\n");
}

TEST_F(FirewallQuery, NeverListsADescription) {
  Element rule = ruleNamed(L"a", L"C:\\a.exe");
  rule.description = L"SECRET";
  given({rule});
  EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,a,C:\\a.exe\nblockin,off\n");
  EXPECT_EQ(countCalls("get_Description"), 0u);
}

TEST_F(FirewallQuery, WritesFourHundredOfFourHundredAndFiftyRules) {
  std::vector<Element> rules;
  for (int i = 0; i < 450; ++i) rules.push_back(ruleNamed(L"r" + std::to_wstring(i), L"D:\\a"));
  given(rules);
  const std::string text = replyAfterProfiles();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 401);
  EXPECT_NE(text.find("rule,on,block,in,r399,D:\\a\nblockin,off\n"), std::string::npos);
  EXPECT_EQ(countCalls("get_Name"), 450u);
  EXPECT_EQ(countCalls("get_Enabled"), 400u);
}

// A machine that has had many programs installed and removed; a client waits for the reply.
TEST_F(FirewallQuery, TakesLessThanTwoSecondsForFiveThousandRules) {
  test::fwfake::State state = given_;
  for (int i = 0; i < 5'000; ++i) {
    state.elements.push_back(
        ruleNamed(L"Правило " + std::to_wstring(i), L"C:\\Program Files\\a\\" + std::to_wstring(i)));
  }
  state.quiet = true;
  givenState(state);
  const auto began = std::chrono::steady_clock::now();
  const std::string text = queryFirewallStatus();
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(2));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3 + 400 + 1);
}

TEST_F(FirewallQuery, AsksForNoRuleOnceAStopIsRequested) {
  given({ruleNamed(L"a"), ruleNamed(L"b")});
  StopSource stop;
  stop.request_stop();
  fake_->clearLog();
  EXPECT_EQ(queryFirewallStatus(stop.get_token()), std::string(kProfilesOn) + "blockin,off\n");
  EXPECT_EQ(countCalls("enum.Next"), 0u);
}

TEST_F(FirewallQuery, SeesTheBlockRuleBehindFourHundredLines) {
  std::vector<Element> rules(401, ruleNamed(L"r", L"D:\\a"));
  rules.push_back(ruleNamed(L"KORVEL: BLOCK ALL INBOUND (public)", L""));
  given(rules);
  const std::string text = replyAfterProfiles();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 401);
  EXPECT_NE(text.find("\nblockin,on\n"), std::string::npos);
}

TEST_F(FirewallQuery, HiddenRulesDoNotCountTowardsTheLimit) {
  std::vector<Element> rules(300, ruleNamed(L"s", L"C:\\Windows\\s.exe"));
  rules.insert(rules.end(), 400, ruleNamed(L"r", L"D:\\a"));
  given(rules);
  const std::string text = replyAfterProfiles();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 401);
}

TEST_F(FirewallQuery, PassesOverElementsThatAreNoRules) {
  given({elementOf(Element::Kind::kBstr), elementOf(Element::Kind::kEmpty),
         elementOf(Element::Kind::kUnknown), elementOf(Element::Kind::kNullDispatch),
         elementOf(Element::Kind::kForeignDispatch), ruleNamed(L"a", L"D:\\a")});
  EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,a,D:\\a\nblockin,off\n");
  EXPECT_EQ(countCalls("get_Name"), 1u);
}

TEST_F(FirewallQuery, ReportsAProfileThatCannotBeReadAtTheEnd) {
  given({ruleNamed(L"a", L"D:\\a")});
  fake_->fail({{"policy.get_FirewallEnabled", 1, kDenied}});
  EXPECT_EQ(reply(),
            "prof,private,on\nprof,public,on\nrule,on,block,in,a,D:\\a\nblockin,off\n"
            "error,не удалось прочитать профиль domain: " +
                std::string(kDeniedText) + "\n");
  fake_->fail({{"policy.get_FirewallEnabled", 2, kServiceDown}});
  EXPECT_EQ(reply(),
            "prof,domain,on\nprof,public,on\nrule,on,block,in,a,D:\\a\nblockin,off\n"
            "error,не удалось прочитать профиль private: " +
                std::string(kServiceDownText) + "\n");
  fake_->fail({{"policy.get_FirewallEnabled", 3, kServiceDown}});
  EXPECT_EQ(reply(),
            "prof,domain,on\nprof,private,on\nrule,on,block,in,a,D:\\a\nblockin,off\n"
            "error,не удалось прочитать профиль public: " +
                std::string(kServiceDownText) + "\n");
}

TEST_F(FirewallQuery, WithoutAnyProfileBeginsWithTheBlockAndEndsWithThreeErrors) {
  fake_->fail({{"policy.get_FirewallEnabled", 0, kFails}});
  EXPECT_EQ(reply(),
            "blockin,off\n"
            "error,не удалось прочитать профиль domain: код 0x80004005\n"
            "error,не удалось прочитать профиль private: код 0x80004005\n"
            "error,не удалось прочитать профиль public: код 0x80004005\n");
}

TEST_F(FirewallQuery, WithoutAnyProfileStillListsTheRulesAndTheBlockBeforeTheThreeErrors) {
  given({ruleNamed(L"a", L"D:\\a"), ruleNamed(L"KORVEL: block all inbound (public)", L""),
         ruleNamed(L"KORVEL: b (in)", L"D:\\b")});
  fake_->fail({{"policy.get_FirewallEnabled", 0, kDenied}});
  const std::string denied = std::string(": ") + kDeniedText + "\n";
  EXPECT_EQ(reply(),
            "rule,on,block,in,a,D:\\a\nrule,on,block,in,KORVEL: b (in),D:\\b\nblockin,on\n"
            "error,не удалось прочитать профиль domain" +
                denied + "error,не удалось прочитать профиль private" + denied +
                "error,не удалось прочитать профиль public" + denied);
}

TEST_F(FirewallQuery, ReportsRulesThatCannotBeEnumerated) {
  given({ruleNamed(L"KORVEL: block all inbound (domain)", L"D:\\a")});
  for (const char* call : {"policy.get_Rules", "rules.get__NewEnum", "enum.QueryInterface"}) {
    SCOPED_TRACE(call);
    fake_->fail({{call, 1, kDenied}});
    EXPECT_EQ(replyAfterProfiles(),
              "blockin,off\nerror,не удалось перечислить правила: " + std::string(kDeniedText) + "\n");
    fake_->fail({{call, 1, kServiceDown}});
    EXPECT_EQ(replyAfterProfiles(),
              "blockin,off\nerror,не удалось перечислить правила: " + std::string(kServiceDownText) + "\n");
    fake_->fail({{call, 1, kSuccessWithoutResult}});
    EXPECT_EQ(replyAfterProfiles(), "blockin,off\nerror,не удалось перечислить правила: код 0x80004003\n");
  }
}

TEST_F(FirewallQuery, PutsTheErrorOfTheRulesBehindThoseOfTheProfiles) {
  fake_->fail({{"policy.get_FirewallEnabled", 3, kFails}, {"policy.get_Rules", 1, kFails}});
  EXPECT_EQ(reply(),
            "prof,domain,on\nprof,private,on\nblockin,off\n"
            "error,не удалось прочитать профиль public: код 0x80004005\n"
            "error,не удалось перечислить правила: код 0x80004005\n");
}

TEST_F(FirewallQuery, EndsTheWalkAtTheFirstElementThatCannotBeHad) {
  given({ruleNamed(L"a", L"D:\\a"), ruleNamed(L"b", L"D:\\b"), ruleNamed(L"c", L"D:\\c")});
  for (const uint32_t result : {kFails, 1u}) {
    fake_->fail({{"enum.Next", 2, result}});
    EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,a,D:\\a\nblockin,off\n");
    EXPECT_EQ(countCalls("enum.Next"), 2u);
  }
}

TEST_F(FirewallQuery, PassesOverARuleThatIsNotToBeHadAsOne) {
  given({ruleNamed(L"a", L"D:\\a"), ruleNamed(L"b", L"D:\\b")});
  for (const uint32_t result : {kDenied, kSuccessWithoutResult}) {
    fake_->fail({{"rule.QueryInterface", 1, result}});
    EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,b,D:\\b\nblockin,off\n");
  }
}

TEST_F(FirewallQuery, TakesAnUnreadableTextForAnEmptyOne) {
  given({ruleNamed(L"KORVEL: block all inbound", L"D:\\a")});
  fake_->fail({{"rule.get_Name", 1, kDenied}});
  EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,,D:\\a\nblockin,off\n");
  fake_->fail({{"rule.get_ApplicationName", 1, kDenied}});
  EXPECT_EQ(replyAfterProfiles(), "blockin,on\n");
}

TEST_F(FirewallQuery, ShowsARuleWhosePropertiesCannotBeRead) {
  Element rule = ruleNamed(L"a", L"D:\\a");
  rule.action = 1;
  given({rule});
  fake_->fail({{"rule.get_Enabled", 1, kFails}});
  EXPECT_EQ(replyAfterProfiles(), "rule,off,allow,in,a,D:\\a\nblockin,off\n");
  fake_->fail({{"rule.get_Action", 1, kFails}});
  EXPECT_EQ(replyAfterProfiles(), "rule,on,block,in,a,D:\\a\nblockin,off\n");
  fake_->fail({{"rule.get_Direction", 1, kFails}});
  EXPECT_EQ(replyAfterProfiles(), "rule,on,allow,both,a,D:\\a\nblockin,off\n");
}

TEST_F(FirewallQuery, WithoutAFirewallIsOneErrorAndNoLineFeed) {
  for (const char* call : {"create.policy", "policy.QueryInterface"}) {
    SCOPED_TRACE(call);
    fake_->fail({{call, 1, kServiceDown}});
    EXPECT_EQ(reply(), kUnavailable + kServiceDownText);
    fake_->fail({{call, 1, kDenied}});
    EXPECT_EQ(reply(), kUnavailable + kDeniedText);
  }
}

TEST_F(FirewallQuery, LeavesNothingBehindWhicheverCallFails) {
  given({ruleNamed(L"KORVEL: a", L"D:\\a"), elementOf(Element::Kind::kForeignDispatch),
         ruleNamed(L"b", L"D:\\b")});
  for (const Call& call : callsOf([] { queryFirewallStatus(); })) {
    for (const uint32_t result : {kDenied, kFails}) {
      SCOPED_TRACE(call.name + " " + std::to_string(call.nth));
      fake_->fail({{call.name, call.nth, result}});
      const std::string text = reply();
      const bool answered = text.find("blockin,off\n") != std::string::npos && text.back() == '\n';
      EXPECT_TRUE(answered || text.rfind(kUnavailable, 0) == 0) << text;
    }
  }
}

TEST_F(FirewallQuery, SaysSoWhenAnExceptionEndsIt) {
  given({ruleNamed(L"a", L"D:\\a"), ruleNamed(L"KORVEL: block all inbound", L"")});
  fake_->fail({{"policy.get_FirewallEnabled", 3, kDenied}});
  std::string text;
  text.reserve(1 << 10);
  runWithEachAllocationFailing(
      [&] {
        text.clear();
        text.append(queryFirewallStatus());
      },
      [&] { EXPECT_EQ(text, "error,внутренняя ошибка запроса брандмауэра"); });
}

}  // namespace
}  // namespace korvel::fw

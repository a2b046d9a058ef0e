#include "fw/firewall_changes.h"

#include <ostream>

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

using Names = std::vector<std::string>;
using Calls = std::vector<std::string>;

// The changes as they are without a stop.
bool addRule(const std::string& request, std::string* error) { return addApplicationRule(request, error); }
bool blockInbound(const std::string& request, std::string* error) {
  return setBlockAllInbound(request, error);
}
bool removeOwnRules(const std::string&, std::string* error) { return removeKorvelRules(error); }

class FirewallChanges : public FirewallTest {
 protected:
  using Change = bool (*)(const std::string&, std::string*);

  /// Runs the change and checks that nothing is left over; "" for true, else the error.
  std::string run(Change change, const std::string& request) {
    std::string error = "from before";
    error.reserve(1 << 10);
    bool ok = false;
    runWithoutLeftovers([&] { ok = change(request, &error); });
    EXPECT_EQ(ok, error.empty()) << error;
    return error;
  }
  std::string profile(const std::string& request) { return run(setProfileEnabled, request); }
  std::string application(const std::string& request) { return run(addRule, request); }
  std::string blockInbound(const std::string& request) { return run(fw::blockInbound, request); }
  std::string removeOwn() { return run(removeOwnRules, ""); }
};

// Profiles

TEST_F(FirewallChanges, SwitchAProfile) {
  givenState({{{1, -1}, {2, -1}, {4, 0}}, {}});
  EXPECT_EQ(profile("Public,1"), "");
  EXPECT_EQ(profile("domain,0"), "");
  EXPECT_EQ(fake_->state().profiles, (std::map<int32_t, int32_t>{{1, 0}, {2, -1}, {4, -1}}));
  EXPECT_EQ(fake_->calls(), (Calls{"create.policy()", "policy.put_FirewallEnabled(1, 0)"}));
  EXPECT_EQ(profile("private,1"), "");
  EXPECT_EQ(fake_->calls(), (Calls{"create.policy()", "policy.put_FirewallEnabled(2, -1)"}));
}

TEST_F(FirewallChanges, RefuseAnUnknownProfileOrState) {
  EXPECT_EQ(profile("all,1"), "некорректный профиль брандмауэра в запросе");
  EXPECT_EQ(profile(""), "некорректный профиль брандмауэра в запросе");
  EXPECT_EQ(profile("public,on"), "некорректное значение включения профиля");
  EXPECT_EQ(fake_->calls(), Calls{"create.policy()"});
}

TEST_F(FirewallChanges, ReportAProfileThatCannotBeSwitched) {
  fake_->fail({{"policy.put_FirewallEnabled", 1, kDenied}});
  EXPECT_EQ(profile("public,0"), "не удалось изменить состояние профиля: " + std::string(kDeniedText));
  fake_->fail({{"policy.put_FirewallEnabled", 1, kServiceDown}});
  EXPECT_EQ(profile("public,0"), "не удалось изменить состояние профиля: " + std::string(kServiceDownText));
}

// Application rules

TEST_F(FirewallChanges, MakeARuleForEachDirection) {
  EXPECT_EQ(application("block|both|C:\\Tools\\app.exe"), "");
  const std::vector<Element> rules = fake_->state().elements;
  ASSERT_EQ(rules.size(), 2u);
  EXPECT_EQ(rules[0].name, L"KORVEL: app.exe (in)");
  EXPECT_EQ(rules[0].direction, 1);
  EXPECT_EQ(rules[1].name, L"KORVEL: app.exe (out)");
  EXPECT_EQ(rules[1].direction, 2);
  for (const Element& rule : rules) {
    EXPECT_EQ(rule.description, L"Правило создано KORVEL Antivirus.");
    EXPECT_EQ(rule.application, L"C:\\Tools\\app.exe");
    EXPECT_EQ(rule.enabled, -1);
    EXPECT_EQ(rule.action, 0);
    EXPECT_EQ(rule.protocol, 256);
    EXPECT_EQ(rule.profiles, 7);
  }
}

TEST_F(FirewallChanges, SetThePropertiesOfAnApplicationRuleInOrder) {
  EXPECT_EQ(application("Allow|OUT|D:\\Игра.exe"), "");
  EXPECT_EQ(fake_->calls(), (Calls{"create.policy()", "policy.get_Rules()", "rules.get__NewEnum()",
                                   "enum.Next(1)", "create.rule()", "rule.put_Name(KORVEL: Игра.exe (out))",
                                   "rule.put_Description(Правило создано KORVEL Antivirus.)",
                                   "rule.put_ApplicationName(D:\\Игра.exe)", "rule.put_Action(1)",
                                   "rule.put_Direction(2)", "rule.put_Protocol(256)", "rule.put_Enabled(-1)",
                                   "rule.put_Profiles(7)", "rules.Add(KORVEL: Игра.exe (out))"}));
}

TEST_F(FirewallChanges, NameARuleAfterAPathWithoutSeparators) {
  EXPECT_EQ(application("BLOCK|In|app.exe"), "");
  EXPECT_EQ(ruleNames(), Names{"KORVEL: app.exe (in)"});
  EXPECT_EQ(fake_->state().elements[0].application, L"app.exe");
}

TEST_F(FirewallChanges, RefuseAMalformedApplicationRule) {
  for (const char* request : {"", "block|in", "deny|in|D:\\x.exe", "block|in|", "block|up|D:\\x.exe"}) {
    EXPECT_EQ(application(request), "некорректное описание правила приложения") << request;
    EXPECT_EQ(fake_->calls(), Calls{"create.policy()"});
  }
}

TEST_F(FirewallChanges, ReplaceTheRuleOfARepeatedRequest) {
  EXPECT_EQ(application("block|both|C:\\a.exe"), "");
  EXPECT_EQ(application("allow|both|D:\\a.exe"), "");
  EXPECT_EQ(ruleNames(), (Names{"KORVEL: a.exe (in)", "KORVEL: a.exe (out)"}));
  EXPECT_EQ(fake_->state().elements[0].action, 1);
  EXPECT_EQ(fake_->state().elements[1].application, L"D:\\a.exe");
  EXPECT_EQ(application("allow|in|D:\\a.exe"), "");
  EXPECT_EQ(ruleNames(), (Names{"KORVEL: a.exe (out)", "KORVEL: a.exe (in)"}));
}

TEST_F(FirewallChanges, RemoveEveryDuplicateOfARuleBeforeAddingIt) {
  given({ruleNamed(L"KORVEL: a.exe (in)"), ruleNamed(L"other"), ruleNamed(L"KORVEL: a.exe (in)"),
         ruleNamed(L"KORVEL: a.exe (in) "), ruleNamed(L"KORVEL: a.exe (out)")});
  EXPECT_EQ(application("block|in|C:\\a.exe"), "");
  EXPECT_EQ(ruleNames(),
            (Names{"other", "KORVEL: a.exe (in) ", "KORVEL: a.exe (out)", "KORVEL: a.exe (in)"}));
  EXPECT_EQ(countCalls("rules.Remove"), 2u);
}

TEST_F(FirewallChanges, CompareTheNamesOfApplicationRulesExactly) {
  given({ruleNamed(L"korvel: A.exe (in)")});
  EXPECT_EQ(application("block|in|C:\\a.exe"), "");
  EXPECT_EQ(ruleNames(), (Names{"korvel: A.exe (in)", "KORVEL: a.exe (in)"}));
}

TEST_F(FirewallChanges, ReplaceTheRuleOfAPathThatIsNoValidText) {
  EXPECT_EQ(application("block|in|C:\\a\xff.exe"), "");
  EXPECT_EQ(application("block|in|C:\\a\xff.exe"), "");
  EXPECT_EQ(ruleNames(), Names{"KORVEL: a\xEF\xBF\xBD.exe (in)"});
}

TEST_F(FirewallChanges, KeepTheRuleThatWasAddedBeforeAFailure) {
  fake_->fail({{"rules.Add", 2, kDenied}});
  EXPECT_EQ(application("block|both|C:\\a.exe"), "не удалось добавить правило: " + std::string(kDeniedText));
  EXPECT_EQ(ruleNames(), Names{"KORVEL: a.exe (in)"});
  given({ruleNamed(L"KORVEL: a.exe (in)"), ruleNamed(L"KORVEL: a.exe (out)")});
  fake_->fail({{"create.rule", 1, kServiceDown}});
  EXPECT_EQ(application("block|both|C:\\a.exe"),
            "не удалось собрать правило: " + std::string(kServiceDownText));
  EXPECT_EQ(ruleNames(), Names{});
}

TEST_F(FirewallChanges, AddNothingAfterAFailedRemoval) {
  given({ruleNamed(L"KORVEL: a.exe (in)"), ruleNamed(L"KORVEL: a.exe (out)")});
  fake_->fail({{"rules.Remove", 2, kFails}});
  EXPECT_EQ(application("block|both|C:\\a.exe"), "не удалось удалить правило: код 0x80004005");
  EXPECT_EQ(ruleNames(), Names{"KORVEL: a.exe (out)"});
  EXPECT_EQ(countCalls("rules.Add"), 0u);
}

// Removal

TEST_F(FirewallChanges, RemoveOwnRulesInAnyCaseAndNoOthers) {
  given({ruleNamed(L"korvel:x"), ruleNamed(L"other"), ruleNamed(L"KORVEL: b"), ruleNamed(L"KORVEL"),
         ruleNamed(L"not KORVEL: c"), ruleNamed(L"KoRvEl: block all inbound (public)", L"")});
  EXPECT_EQ(removeOwn(), "");
  EXPECT_EQ(ruleNames(), (Names{"other", "KORVEL", "not KORVEL: c"}));
}

TEST_F(FirewallChanges, RemoveARuleForEachTimeItsNameIsThere) {
  given({ruleNamed(L"KORVEL: a"), ruleNamed(L"KORVEL: a"), ruleNamed(L"KORVEL: a")});
  EXPECT_EQ(removeOwn(), "");
  EXPECT_EQ(ruleNames(), Names{});
  EXPECT_EQ(countCalls("rules.Remove"), 3u);
}

TEST_F(FirewallChanges, CollectAllNamesBeforeTheFirstRemoval) {
  given({ruleNamed(L"KORVEL: a"), ruleNamed(L"KORVEL: b")});
  EXPECT_EQ(removeOwn(), "");
  EXPECT_EQ(fake_->calls(), (Calls{"create.policy()", "policy.get_Rules()", "rules.get__NewEnum()",
                                   "enum.Next(1)", "rule.get_Name()", "enum.Next(1)", "rule.get_Name()",
                                   "enum.Next(1)", "rules.Remove(KORVEL: a)", "rules.Remove(KORVEL: b)"}));
}

TEST_F(FirewallChanges, SucceedWithNothingToRemove) {
  given({ruleNamed(L"other")});
  EXPECT_EQ(removeOwn(), "");
  given({});
  EXPECT_EQ(removeOwn(), "");
  EXPECT_EQ(countCalls("rules.Remove"), 0u);
}

TEST_F(FirewallChanges, RemoveBehindElementsThatAreNoRules) {
  Element nameless = ruleNamed(L"");
  nameless.name.reset();
  given({elementOf(Element::Kind::kBstr), elementOf(Element::Kind::kUnknown),
         elementOf(Element::Kind::kNullDispatch), elementOf(Element::Kind::kForeignDispatch), nameless,
         ruleNamed(L"KORVEL: a")});
  EXPECT_EQ(removeOwn(), "");
  EXPECT_EQ(fake_->state().elements.size(), 5u);
}

TEST_F(FirewallChanges, RemoveAmongMoreRulesThanAreEverListed) {
  std::vector<Element> rules(450, ruleNamed(L"other"));
  rules.push_back(ruleNamed(L"KORVEL: a"));
  given(rules);
  EXPECT_EQ(removeOwn(), "");
  EXPECT_EQ(fake_->state().elements.size(), 450u);
}

TEST_F(FirewallChanges, RemoveNothingOnceAStopIsRequested) {
  given({ruleNamed(L"KORVEL: a.exe (in)"), ruleNamed(L"KORVEL: block all inbound (domain)", L"")});
  StopSource stop;
  stop.request_stop();
  fake_->clearLog();
  std::string error;
  EXPECT_FALSE(removeKorvelRules(&error, stop.get_token()));
  EXPECT_EQ(error, "service is stopping");
  EXPECT_FALSE(setBlockAllInbound("1", &error, stop.get_token()));
  EXPECT_EQ(error, "service is stopping");
  EXPECT_FALSE(addApplicationRule("block|in|C:\\a.exe", &error, stop.get_token()));
  EXPECT_EQ(error, "service is stopping");
  EXPECT_EQ(ruleNames(), (Names{"KORVEL: a.exe (in)", "KORVEL: block all inbound (domain)"}));
  EXPECT_EQ(countCalls("enum.Next"), 0u);
}

TEST_F(FirewallChanges, StopAtTheFirstRuleThatCannotBeRemoved) {
  given({ruleNamed(L"KORVEL: a"), ruleNamed(L"KORVEL: b"), ruleNamed(L"KORVEL: c")});
  fake_->fail({{"rules.Remove", 2, kDenied}});
  EXPECT_EQ(removeOwn(), "не удалось удалить правило: " + std::string(kDeniedText));
  EXPECT_EQ(ruleNames(), (Names{"KORVEL: b", "KORVEL: c"}));
  EXPECT_EQ(countCalls("rules.Remove"), 2u);
}

// Blocking all inbound traffic

TEST_F(FirewallChanges, BlockInboundWithOneRulePerProfile) {
  EXPECT_EQ(blockInbound("1"), "");
  const std::vector<Element> rules = fake_->state().elements;
  ASSERT_EQ(rules.size(), 3u);
  EXPECT_EQ(ruleNames(), (Names{"KORVEL: block all inbound (domain)", "KORVEL: block all inbound (private)",
                                "KORVEL: block all inbound (public)"}));
  EXPECT_EQ(rules[0].profiles, 1);
  EXPECT_EQ(rules[1].profiles, 2);
  EXPECT_EQ(rules[2].profiles, 4);
  for (const Element& rule : rules) {
    EXPECT_EQ(rule.description, L"Входящие блокируются программой KORVEL Antivirus.");
    EXPECT_EQ(rule.application, std::nullopt);
    EXPECT_EQ(rule.enabled, -1);
    EXPECT_EQ(rule.action, 0);
    EXPECT_EQ(rule.direction, 1);
    EXPECT_EQ(rule.protocol, 256);
  }
}

TEST_F(FirewallChanges, SetNoApplicationOnABlockingRule) {
  EXPECT_EQ(blockInbound("1"), "");
  const Calls puts = callsTo("rule.put_");
  ASSERT_EQ(puts.size(), 21u);
  EXPECT_EQ(Calls(puts.begin(), puts.begin() + 7),
            (Calls{"rule.put_Name(KORVEL: block all inbound (domain))",
                   "rule.put_Description(Входящие блокируются программой KORVEL Antivirus.)",
                   "rule.put_Action(0)", "rule.put_Direction(1)", "rule.put_Protocol(256)",
                   "rule.put_Enabled(-1)", "rule.put_Profiles(1)"}));
}

TEST_F(FirewallChanges, LeaveThreeBlockingRulesAfterARepeatedBlockAndNoneAfterTheRelease) {
  given({ruleNamed(L"other")});
  EXPECT_EQ(blockInbound("1"), "");
  EXPECT_EQ(blockInbound("1"), "");
  EXPECT_EQ(ruleNames(),
            (Names{"other", "KORVEL: block all inbound (domain)", "KORVEL: block all inbound (private)",
                   "KORVEL: block all inbound (public)"}));
  EXPECT_EQ(blockInbound("0"), "");
  EXPECT_EQ(ruleNames(), Names{"other"});
}

TEST_F(FirewallChanges, ReleaseInboundWithoutTouchingOtherOwnRules) {
  given({ruleNamed(L"KORVEL: a.exe (in)"), ruleNamed(L"korvel: BLOCK all inbound, old", L""),
         ruleNamed(L"KORVEL: block all inboun")});
  EXPECT_EQ(blockInbound("0"), "");
  EXPECT_EQ(ruleNames(), (Names{"KORVEL: a.exe (in)", "KORVEL: block all inboun"}));
  EXPECT_EQ(countCalls("create.rule"), 0u);
}

TEST_F(FirewallChanges, RefuseAnyOtherBlockValue) {
  for (const char* request : {"", "2", "on", "1 "}) {
    EXPECT_EQ(blockInbound(request), "некорректное значение блокирования входящих") << request;
    EXPECT_EQ(fake_->calls(), Calls{"create.policy()"});
  }
}

TEST_F(FirewallChanges, KeepTheBlockingRulesThatWereAddedBeforeAFailure) {
  given({ruleNamed(L"KORVEL: block all inbound (old)", L"")});
  fake_->fail({{"rules.Add", 3, kDenied}});
  EXPECT_EQ(blockInbound("1"), "не удалось добавить правило: " + std::string(kDeniedText));
  EXPECT_EQ(ruleNames(),
            (Names{"KORVEL: block all inbound (domain)", "KORVEL: block all inbound (private)"}));
}

// Failures of every kind

/// The beginning of the error when a call fails; empty when the operation goes on without the call.
std::string contextOf(const std::string& call, bool whileWalking) {
  if (call == "create.policy" || call == "policy.QueryInterface") return "брандмауэр недоступен: ";
  if (call == "policy.put_FirewallEnabled") return "не удалось изменить состояние профиля: ";
  if (call == "policy.get_Rules" || call == "rules.get__NewEnum" || call == "enum.QueryInterface") {
    return "не удалось получить набор правил: ";
  }
  if (call == "rules.Remove") return "не удалось удалить правило: ";
  if (call == "rules.Add") return "не удалось добавить правило: ";
  if (call == "enum.Next" || call == "rule.get_Name" || whileWalking) return "";
  return "не удалось собрать правило: ";
}

struct Operation {
  const char* name;
  bool (*change)(const std::string&, std::string*);
  const char* request;
};
void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

constexpr Operation kOperations[] = {
    {"profile", setProfileEnabled, "private,0"},
    {"application", addRule, "block|both|C:\\a.exe"},
    {"block", blockInbound, "1"},
    {"release", blockInbound, "0"},
    {"remove", removeOwnRules, ""},
};

class EachFirewallChange : public FirewallChanges, public testing::WithParamInterface<Operation> {
 protected:
  static constexpr uint32_t kGivenRules = 4;
  void SetUp() override {
    FirewallChanges::SetUp();
    if (!fake_) return;
    given({ruleNamed(L"other"), ruleNamed(L"KORVEL: a.exe (in)"), ruleNamed(L"KORVEL: a.exe (in)"),
           ruleNamed(L"KORVEL: block all inbound (domain)", L"")});
  }
};

TEST_P(EachFirewallChange, NamesWhatFailedAndLeavesNothingBehind) {
  const Operation& operation = GetParam();
  for (const Call& call : callsOf([&] { operation.change(operation.request, nullptr); })) {
    const bool whileWalking = call.name == "rule.QueryInterface" && call.nth <= kGivenRules;
    const std::string context = contextOf(call.name, whileWalking);
    for (const auto& [result, text] :
         {std::pair{kDenied, kDeniedText}, std::pair{kServiceDown, kServiceDownText}}) {
      SCOPED_TRACE(call.name + " " + std::to_string(call.nth));
      fake_->set(given_);
      fake_->fail({{call.name, call.nth, result}});
      EXPECT_EQ(run(operation.change, operation.request), context.empty() ? "" : context + text);
    }
  }
}

TEST_P(EachFirewallChange, TakesSuccessWithoutAnObjectForAFailure) {
  const Operation& operation = GetParam();
  for (const char* call : {"policy.get_Rules", "rules.get__NewEnum", "enum.QueryInterface"}) {
    if (operation.change == setProfileEnabled) continue;
    fake_->set(given_);
    fake_->fail({{call, 1, kSuccessWithoutResult}});
    EXPECT_EQ(run(operation.change, operation.request), "не удалось получить набор правил: код 0x80004003")
        << call;
  }
}

TEST_P(EachFirewallChange, SaysSoWhenAnExceptionEndsIt) {
  const std::string request = GetParam().request;
  std::string error;
  error.reserve(1 << 10);
  bool ok = false;
  runWithEachAllocationFailing([&] { ok = GetParam().change(request, &error); },
                               [&] {
                                 EXPECT_FALSE(ok);
                                 EXPECT_EQ(error, "внутренняя ошибка брандмауэра");
                               });
  EXPECT_TRUE(ok) << error;
}

TEST_P(EachFirewallChange, CanFailWithoutSayingWhy) {
  const Operation& operation = GetParam();
  fake_->fail({{"create.policy", 1, kDenied}});
  EXPECT_FALSE(operation.change(operation.request, nullptr));
}

INSTANTIATE_TEST_SUITE_P(All, EachFirewallChange, testing::ValuesIn(kOperations),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

}  // namespace
}  // namespace korvel::fw

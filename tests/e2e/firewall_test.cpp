// Windows Firewall through the unmodified service: over the pipe, by --fw and by korvelctl. A stand-in takes
// the firewall's place; it records which calls reached it and which objects are left over.
#include <nlohmann/json.hpp>
#include <optional>

#include "base/text.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"
#include "fw/fake/fake_firewall.h"
#include "protocol/messages.h"

namespace korvel::test {
namespace {

using fwfake::Element;
using ipc::Opcode;

Element ruleNamed(const std::wstring& name, const std::wstring& application) {
  Element rule;
  rule.name = name;
  rule.application = application;
  return rule;
}

class FirewallService : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    fake_.emplace();
    fwfake::State state;
    state.profiles = {{1, -1}, {2, -1}, {4, 0}};
    state.elements = {ruleNamed(L"other", L"D:\\other.exe"),
                      ruleNamed(L"KORVEL: a,b (in)", L"C:\\Windows\\a.exe"),
                      ruleNamed(L"system", L"C:\\Windows\\b.exe")};
    fake_->set(state);
    startService();
  }
  void TearDown() override {
    EXPECT_EQ(fake_->liveObjects(), 0);
    fake_.reset();
    ServiceTest::TearDown();
  }

  static Finished ctl(const std::wstring& arguments) {
    return runToEnd(controlExecutable(), L"--lang en firewall " + arguments);
  }
  static Finished fw() { return runToEnd(serviceExecutable(), L"--fw"); }

  std::optional<fwfake::FakeFirewall> fake_;
};

constexpr char kListing[] =
    "prof,domain,on\nprof,private,on\nprof,public,off\n"
    "rule,on,block,in,other,D:\\other.exe\n"
    "rule,on,block,in,KORVEL: a\\,b (in),C:\\Windows\\a.exe\n"
    "blockin,off\n";

/// As the diagnostic client prints it: each line with CR LF.
std::string printed(std::string_view listing) {
  std::string text;
  LineReader reader(listing);
  for (std::string_view line; reader.next(line);) text.append(line).append("\r\n");
  return text;
}

TEST_F(FirewallService, ListsTheFirewallOverThePipeAndByTheDiagnosticClient) {
  EXPECT_EQ(reply(Opcode::kFirewallStatus), kListing);
  const Finished run = fw();
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(run.output, printed(kListing));
}

TEST_F(FirewallService, ListsErrorsOfAMachineWithoutAFirewall) {
  fake_->fail({{"create.policy", 1, 0x800706D9}});
  const std::string line =
      "error,брандмауэр недоступен: не удалось обратиться к API брандмауэра: код 0x800706D9";
  EXPECT_EQ(reply(Opcode::kFirewallStatus), line);
  const Finished run = fw();
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_EQ(run.output, printed(line));
}

TEST_F(FirewallService, AnswersAFailedChangeWithAFlagAndATextAndServesOn) {
  fake_->fail({{"rules.Add", 2, 0x80070005}});
  const auto answer = ipc::decodeFirewallChange(
      reply(Opcode::kFirewallAddRule, ipc::encodeText("block|both|C:\\Tools\\app.exe")));
  ASSERT_TRUE(answer.has_value());
  EXPECT_FALSE(answer->ok);
  EXPECT_EQ(answer->text, "не удалось добавить правило: требуются права администратора (код 0x80070005)");
  EXPECT_EQ(fake_->state().elements.size(), 4u);
  EXPECT_NE(reply(Opcode::kFirewallStatus).find("KORVEL: app.exe (in)"), std::string::npos);
}

TEST_F(FirewallService, IsChangedByTheCommandLineClient) {
  EXPECT_EQ(ctl(L"profile public on").output, "firewall changed\n");
  EXPECT_EQ(fake_->state().profiles.at(4), -1);
  EXPECT_EQ(ctl(L"inbound block").exitCode, 0u);
  EXPECT_EQ(fake_->state().elements.size(), 6u);
  EXPECT_EQ(ctl(L"inbound unblock").exitCode, 0u);
  EXPECT_EQ(fake_->state().elements.size(), 3u);
  EXPECT_EQ(ctl(L"allow \"C:\\Tools\\..\\Мой app.exe\" --out").exitCode, 0u);
  const Element added = fake_->state().elements.back();
  EXPECT_EQ(added.name, L"KORVEL: Мой app.exe (out)");
  EXPECT_EQ(added.application, L"C:\\Мой app.exe");
  EXPECT_EQ(added.action, 1);
  EXPECT_EQ(ctl(L"reset --yes").exitCode, 0u);
  EXPECT_EQ(fake_->state().elements.size(), 2u);
}

TEST_F(FirewallService, IsShownByTheCommandLineClient) {
  const Finished text = ctl(L"status --own");
  EXPECT_EQ(text.exitCode, 0u);
  EXPECT_EQ(text.output,
            "Profile domain   on\n"
            "Profile private  on\n"
            "Profile public   off\n"
            "Inbound          not blocked by KORVEL\n"
            "\n"
            "RULE  ACTION  DIRECTION  NAME              PROGRAM\n"
            "on    block   in         KORVEL: a,b (in)  C:\\Windows\\a.exe\n");
  const auto json = nlohmann::json::parse(ctl(L"status --json").output);
  EXPECT_EQ(json["profiles"]["public"], false);
  EXPECT_EQ(json["rules"].size(), 2u);
}

TEST_F(FirewallService, RefusalsReachTheCommandLineClient) {
  fake_->fail({{"policy.put_FirewallEnabled", 1, 0x80070005}, {"policy.get_FirewallEnabled", 1, 0x80004005}});
  const Finished change = ctl(L"profile domain off");
  EXPECT_EQ(change.exitCode, 2u);
  EXPECT_EQ(
      change.errorOutput,
      "korvelctl: не удалось изменить состояние профиля: требуются права администратора (код 0x80070005)\n");
  const Finished status = ctl(L"status");
  EXPECT_EQ(status.exitCode, 2u);
  EXPECT_EQ(status.errorOutput, "korvelctl: firewall: не удалось прочитать профиль domain: код 0x80004005\n");
  EXPECT_NE(status.output.find("Profile private  on\n"), std::string::npos);
}

TEST_F(ServiceTest, OwnFirewallOfWineGivesErrorLines) {
  startService();
  EXPECT_EQ(runToEnd(serviceExecutable(), L"--fw").output,
            printed("blockin,off\n"
                    "error,не удалось прочитать профиль domain: код 0x80004001\n"
                    "error,не удалось прочитать профиль private: код 0x80004001\n"
                    "error,не удалось прочитать профиль public: код 0x80004001\n"
                    "error,не удалось перечислить правила: код 0x80004001\n"));
}

}  // namespace
}  // namespace korvel::test

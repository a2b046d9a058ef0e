#include "fw/firewall_text.h"

#include <gtest/gtest.h>

namespace korvel::fw {
namespace {

constexpr wchar_t kWindows[] = L"C:\\Windows";

ListedRule rule(std::string name, std::string application) {
  return {/*enabled=*/true, /*action=*/0, /*direction=*/1, std::move(name), std::move(application)};
}

std::string statusTextOf(const ListedRule& listed) {
  FirewallStatus status;
  status.rules.push_back(listed);
  return firewallStatusText(status);
}

TEST(FirewallStatusText, PutsProfilesThenRulesThenTheBlockThenErrors) {
  FirewallStatus status;
  status.errors = {"первая: код 0x80004001", "вторая"};
  status.inboundBlocked = true;
  status.rules = {rule("KORVEL: app.exe (in)", "C:\\Tools\\app.exe"), rule("b", "C:\\b.exe")};
  status.profiles = {{"domain", true}, {"public", false}};
  EXPECT_EQ(firewallStatusText(status),
            "prof,domain,on\n"
            "prof,public,off\n"
            "rule,on,block,in,KORVEL: app.exe (in),C:\\Tools\\app.exe\n"
            "rule,on,block,in,b,C:\\b.exe\n"
            "blockin,on\n"
            "error,первая: код 0x80004001\n"
            "error,вторая\n");
}

TEST(FirewallStatusText, OfNothingIsTheBlockLineAlone) { EXPECT_EQ(firewallStatusText({}), "blockin,off\n"); }

TEST(FirewallStatusText, WritesEachStateOfARule) {
  const auto line = [](bool enabled, int32_t action, int32_t direction) {
    return statusTextOf({enabled, action, direction, "n", "a"});
  };
  EXPECT_EQ(line(true, 0, 1), "rule,on,block,in,n,a\nblockin,off\n");
  EXPECT_EQ(line(false, 1, 2), "rule,off,allow,out,n,a\nblockin,off\n");
  EXPECT_EQ(line(true, 2, 3), "rule,on,allow,both,n,a\nblockin,off\n");
  EXPECT_EQ(line(true, -1, 0), "rule,on,allow,both,n,a\nblockin,off\n");
  EXPECT_EQ(line(true, 0, -1), "rule,on,block,both,n,a\nblockin,off\n");
}

TEST(FirewallStatusText, EscapesNamesApplicationsAndErrors) {
  EXPECT_EQ(statusTextOf(rule("a,b", "C:\\x\r\ny,z")), "rule,on,block,in,a\\,b,C:\\x  y\\,z\nblockin,off\n");
  FirewallStatus status;
  status.errors = {"a,b\nc"};
  EXPECT_EQ(firewallStatusText(status), "blockin,off\nerror,a\\,b c\n");
}

TEST(FirewallErrorReply, IsOneEscapedLineWithoutALineFeed) {
  EXPECT_EQ(firewallErrorReply("нет, совсем\n"), "error,нет\\, совсем ");
}

TEST(EscapeFirewallField, TouchesCommasAndLineBreaksOnly) {
  EXPECT_EQ(escapeFirewallField(""), "");
  EXPECT_EQ(escapeFirewallField("a,b"), "a\\,b");
  EXPECT_EQ(escapeFirewallField(",,"), "\\,\\,");
  EXPECT_EQ(escapeFirewallField("a\r\nb\rc\nd"), "a  b c d");
  EXPECT_EQ(escapeFirewallField("Имя\t\"x\""), "Имя\t\"x\"");
  EXPECT_EQ(escapeFirewallField(std::string_view("a\0,b", 4)), std::string("a\0\\,b", 5));
}

TEST(EscapeFirewallField, LeavesBackslashesSingle) {
  EXPECT_EQ(escapeFirewallField("C:\\a\\,b\\"), "C:\\a\\\\,b\\");
}

TEST(FirewallErrorText, NamesTheCodeInEightUpperCaseDigits) {
  EXPECT_EQ(firewallErrorText(static_cast<long>(0x800706D9)), "код 0x800706D9");
  EXPECT_EQ(firewallErrorText(static_cast<int32_t>(0x800706D9)), "код 0x800706D9");
  EXPECT_EQ(firewallErrorText(static_cast<int32_t>(0x80040154)), "код 0x80040154");
  EXPECT_EQ(firewallErrorText(0xA), "код 0x0000000A");
  EXPECT_EQ(firewallErrorText(-1), "код 0xFFFFFFFF");
}

TEST(FirewallErrorText, SaysThatRightsAreMissing) {
  EXPECT_EQ(firewallErrorText(static_cast<int32_t>(0x80070005)),
            "требуются права администратора (код 0x80070005)");
  EXPECT_EQ(firewallErrorText(static_cast<int32_t>(0x80070006)), "код 0x80070006");
}

TEST(FirewallFailure, JoinsContextAndCode) {
  EXPECT_EQ(firewallFailure("не удалось", static_cast<int32_t>(0x80004005)), "не удалось: код 0x80004005");
}

TEST(OwnRuleName, BeginsWithThePrefixInAnyCase) {
  EXPECT_TRUE(isOwnRuleName(L"KORVEL: app.exe (in)"));
  EXPECT_TRUE(isOwnRuleName(L"kOrVeL:"));
  EXPECT_FALSE(isOwnRuleName(L"KORVEL"));
  EXPECT_FALSE(isOwnRuleName(L"KORVEL app"));
  EXPECT_FALSE(isOwnRuleName(L" KORVEL: app"));
  EXPECT_FALSE(isOwnRuleName(L""));
}

TEST(BlockInboundRuleName, BeginsWithTheWholePrefixInAnyCase) {
  EXPECT_TRUE(isBlockInboundRuleName(L"KORVEL: block all inbound (domain)"));
  EXPECT_TRUE(isBlockInboundRuleName(L"korvel: BLOCK all inbound"));
  EXPECT_FALSE(isBlockInboundRuleName(L"KORVEL: block all inboun"));
  EXPECT_FALSE(isBlockInboundRuleName(L"KORVEL:block all inbound"));
  EXPECT_FALSE(isBlockInboundRuleName(L"block all inbound"));
}

TEST(SystemPath, BeginsWithTheWindowsDirectoryInAnyCase) {
  EXPECT_TRUE(isSystemPath(L"C:\\WINDOWS\\system32\\svchost.exe", kWindows));
  EXPECT_TRUE(isSystemPath(L"c:\\windows", kWindows));
  EXPECT_TRUE(isSystemPath(L"C:\\WindowsApps\\a.exe", kWindows));  // a plain prefix, not a component
  EXPECT_TRUE(isSystemPath(L"C:\\ОКНА\\a.exe", L"C:\\Окна"));
  EXPECT_FALSE(isSystemPath(L"C:\\Window", kWindows));
  EXPECT_FALSE(isSystemPath(L"D:\\Windows\\a.exe", kWindows));
  EXPECT_FALSE(isSystemPath(L"", kWindows));
}

TEST(SystemPath, IsNoneWithoutAWindowsDirectory) { EXPECT_FALSE(isSystemPath(L"C:\\a.exe", L"")); }

TEST(NoticeRule, HidesSystemProgramsButNotOwnRules) {
  FirewallStatus status;
  EXPECT_TRUE(noticeRule(status, L"x", L"C:\\Tools\\x.exe", kWindows));
  EXPECT_FALSE(noticeRule(status, L"x", L"C:\\WINDOWS\\system32\\svchost.exe", kWindows));
  EXPECT_TRUE(noticeRule(status, L"KORVEL: x", L"C:\\WINDOWS\\system32\\svchost.exe", kWindows));
  EXPECT_TRUE(noticeRule(status, L"korvel:", L"C:\\WINDOWS\\system32\\svchost.exe", kWindows));
  EXPECT_TRUE(noticeRule(status, L"", L"C:\\x.exe", kWindows));
  EXPECT_FALSE(status.inboundBlocked);
}

TEST(NoticeRule, ListsNothingWithoutAnApplication) {
  FirewallStatus status;
  EXPECT_FALSE(noticeRule(status, L"x", L"", kWindows));
  EXPECT_FALSE(noticeRule(status, L"KORVEL: x", L"", kWindows));
}

TEST(NoticeRule, KeepsTheBlockInboundMark) {
  FirewallStatus status;
  EXPECT_FALSE(noticeRule(status, L"korvel: block all inbound", L"", kWindows));
  EXPECT_TRUE(status.inboundBlocked);
  EXPECT_TRUE(noticeRule(status, L"x", L"C:\\x.exe", kWindows));
  EXPECT_TRUE(status.inboundBlocked);
}

TEST(NoticeRule, TakesFourHundredRulesAndGoesOnLookingForTheMark) {
  FirewallStatus status;
  status.rules.resize(399);
  EXPECT_TRUE(noticeRule(status, L"x", L"C:\\x.exe", kWindows));
  status.rules.resize(400);
  EXPECT_FALSE(noticeRule(status, L"x", L"C:\\x.exe", kWindows));
  EXPECT_FALSE(noticeRule(status, L"KORVEL: x", L"C:\\x.exe", kWindows));
  EXPECT_FALSE(status.inboundBlocked);
  EXPECT_FALSE(noticeRule(status, L"KORVEL: block all inbound (public)", L"C:\\x.exe", kWindows));
  EXPECT_TRUE(status.inboundBlocked);
}

}  // namespace
}  // namespace korvel::fw

#include "fw/firewall_request.h"

#include <gtest/gtest.h>

namespace korvel::fw {
namespace {

constexpr char kBadProfile[] = "некорректный профиль брандмауэра в запросе";
constexpr char kBadValue[] = "некорректное значение включения профиля";
constexpr char kBadRule[] = "некорректное описание правила приложения";
constexpr char kBadBlock[] = "некорректное значение блокирования входящих";

// "<type>=<0 or 1>", or the error.
std::string profileOf(std::string_view request) {
  ProfileRequest parsed;
  std::string error;
  if (!parseProfileRequest(request, parsed, &error)) return error;
  return std::to_string(parsed.type) + "=" + std::to_string(parsed.enable);
}

// "<action> <directions> <path>", or the error.
std::string applicationOf(std::string_view request) {
  ApplicationRequest parsed;
  std::string error;
  if (!parseApplicationRequest(request, parsed, &error)) return error;
  return std::to_string(parsed.action) + (parsed.inbound ? " in" : "") + (parsed.outbound ? " out" : "") +
         " " + parsed.path;
}

TEST(ProfileRequestText, NamesAProfileInAnyCaseAndAState) {
  EXPECT_EQ(profileOf("domain,1"), "1=1");
  EXPECT_EQ(profileOf("private,0"), "2=0");
  EXPECT_EQ(profileOf("Public,1"), "4=1");
  EXPECT_EQ(profileOf("PUBLIC,0"), "4=0");
}

TEST(ProfileRequestText, WithAnotherProfileIsRefusedWhateverTheState) {
  for (const char* request :
       {"", ",", ",1", "all,1", "public ,1", " public,1", "publi,1", "publicx,7", "домен,1"}) {
    EXPECT_EQ(profileOf(request), kBadProfile) << request;
  }
}

TEST(ProfileRequestText, WithAnotherStateIsRefused) {
  for (const char* request :
       {"public", "public,", "public,on", "public,01", "public,1 ", "public,2", "public,1,1", "public,,1"}) {
    EXPECT_EQ(profileOf(request), kBadValue) << request;
  }
}

TEST(ApplicationRequestText, TakesWordsInAnyCase) {
  EXPECT_EQ(applicationOf("block|in|C:\\a.exe"), "0 in C:\\a.exe");
  EXPECT_EQ(applicationOf("allow|out|C:\\a.exe"), "1 out C:\\a.exe");
  EXPECT_EQ(applicationOf("BLOCK|In|D:\\x.exe"), "0 in D:\\x.exe");
  EXPECT_EQ(applicationOf("Allow|BOTH|D:\\x.exe"), "1 in out D:\\x.exe");
}

TEST(ApplicationRequestText, LeavesThePathAsItIs) {
  EXPECT_EQ(applicationOf("block|in|C:\\a|b|"), "0 in C:\\a|b|");
  EXPECT_EQ(applicationOf("block|in| "), "0 in  ");
  EXPECT_EQ(applicationOf("block|in|Ж:\\Игра.exe"), "0 in Ж:\\Игра.exe");
}

TEST(ApplicationRequestText, OfAnyOtherShapeIsRefused) {
  for (const char* request :
       {"", "|", "||", "|||", "block", "block|", "block|in", "block|in|", "block|C:\\a.exe",
        "deny|in|D:\\x.exe", "block|inout|D:\\x.exe", "block||D:\\x.exe", "|in|D:\\x.exe",
        " block|in|D:\\x.exe", "block|in |D:\\x.exe", "in|block|D:\\x.exe"}) {
    EXPECT_EQ(applicationOf(request), kBadRule) << request;
  }
}

TEST(BlockInboundRequestText, IsExactlyOneOrZero) {
  bool block = false;
  std::string error;
  EXPECT_TRUE(parseBlockInboundRequest("1", block, &error));
  EXPECT_TRUE(block);
  EXPECT_TRUE(parseBlockInboundRequest("0", block, &error));
  EXPECT_FALSE(block);
  EXPECT_EQ(error, "");
  for (const char* request : {"", "on", "2", "01", "1 ", " 1", "true"}) {
    error.clear();
    EXPECT_FALSE(parseBlockInboundRequest(request, block, &error)) << request;
    EXPECT_EQ(error, kBadBlock) << request;
  }
}

TEST(FirewallRequests, CanBeRefusedWithoutSayingWhy) {
  ProfileRequest profile;
  ApplicationRequest application;
  bool block = false;
  EXPECT_FALSE(parseProfileRequest("x", profile, nullptr));
  EXPECT_FALSE(parseProfileRequest("public,x", profile, nullptr));
  EXPECT_FALSE(parseApplicationRequest("x", application, nullptr));
  EXPECT_FALSE(parseBlockInboundRequest("x", block, nullptr));
}

std::vector<RuleDescription> rulesFor(std::string_view request) {
  ApplicationRequest parsed;
  EXPECT_TRUE(parseApplicationRequest(request, parsed, nullptr));
  return applicationRules(parsed);
}

TEST(ApplicationRules, CoverBothDirectionsInboundFirst) {
  const std::vector<RuleDescription> rules = rulesFor("block|both|C:\\Tools\\app.exe");
  ASSERT_EQ(rules.size(), 2u);
  EXPECT_EQ(rules[0].name, "KORVEL: app.exe (in)");
  EXPECT_EQ(rules[0].direction, 1);
  EXPECT_EQ(rules[1].name, "KORVEL: app.exe (out)");
  EXPECT_EQ(rules[1].direction, 2);
  for (const RuleDescription& rule : rules) {
    EXPECT_EQ(rule.description, "Правило создано KORVEL Antivirus.");
    EXPECT_EQ(rule.application, "C:\\Tools\\app.exe");
    EXPECT_EQ(rule.action, 0);
    EXPECT_EQ(rule.profiles, 7);
  }
}

TEST(ApplicationRules, CoverOneDirection) {
  const std::vector<RuleDescription> in = rulesFor("allow|in|C:\\a.exe");
  ASSERT_EQ(in.size(), 1u);
  EXPECT_EQ(in[0].name, "KORVEL: a.exe (in)");
  EXPECT_EQ(in[0].action, 1);
  const std::vector<RuleDescription> out = rulesFor("allow|out|C:\\a.exe");
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].name, "KORVEL: a.exe (out)");
  EXPECT_EQ(out[0].direction, 2);
}

TEST(ApplicationRules, AreNamedAfterThePartBehindTheLastSeparator) {
  EXPECT_EQ(rulesFor("block|in|app.exe")[0].name, "KORVEL: app.exe (in)");
  EXPECT_EQ(rulesFor("block|in|C:/Tools/app.exe")[0].name, "KORVEL: app.exe (in)");
  EXPECT_EQ(rulesFor("block|in|C:/Tools\\app.exe")[0].name, "KORVEL: app.exe (in)");
  EXPECT_EQ(rulesFor("block|in|C:\\Tools/app.exe")[0].name, "KORVEL: app.exe (in)");
  EXPECT_EQ(rulesFor("block|in|C:\\Tools\\")[0].name, "KORVEL:  (in)");
  EXPECT_EQ(rulesFor("block|in|C:app.exe")[0].name, "KORVEL: C:app.exe (in)");
  EXPECT_EQ(rulesFor("block|in|C:\\Игры\\Игра.exe")[0].name, "KORVEL: Игра.exe (in)");
}

TEST(BlockInboundRules, AreOnePerProfile) {
  const std::vector<RuleDescription> rules = blockInboundRules();
  ASSERT_EQ(rules.size(), 3u);
  EXPECT_EQ(rules[0].name, "KORVEL: block all inbound (domain)");
  EXPECT_EQ(rules[1].name, "KORVEL: block all inbound (private)");
  EXPECT_EQ(rules[2].name, "KORVEL: block all inbound (public)");
  EXPECT_EQ(rules[0].profiles, 1);
  EXPECT_EQ(rules[1].profiles, 2);
  EXPECT_EQ(rules[2].profiles, 4);
  for (const RuleDescription& rule : rules) {
    EXPECT_EQ(rule.description, "Входящие блокируются программой KORVEL Antivirus.");
    EXPECT_EQ(rule.application, "");
    EXPECT_EQ(rule.action, 0);
    EXPECT_EQ(rule.direction, 1);
  }
}

}  // namespace
}  // namespace korvel::fw

#include "korvelctl/model/firewall_file.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

FirewallFile sample() {
  return {.inboundBlocked = true,
          .rules = {{"block", "both", "C:\\Tools\\a, b.exe"}, {"allow", "in", "\\\\srv\\share\\Ёж.exe"}}};
}

std::string problemOf(const std::string& text) {
  std::string error;
  EXPECT_EQ(parseFirewallFile(text, Language::kEnglish, &error), std::nullopt) << text;
  return error;
}

std::string withRule(const std::string& rule) {
  return R"({"schema":"korvel.firewall-rules/1","inbound_blocked":false,"rules":[)" + rule + "]}";
}

TEST(FirewallFile, WhatWasWrittenIsReadAgain) {
  std::string error;
  EXPECT_EQ(parseFirewallFile(formatFirewallFile(sample()), Language::kEnglish, &error), sample()) << error;
  EXPECT_EQ(parseFirewallFile(formatFirewallFile({}), Language::kEnglish, &error), FirewallFile()) << error;
}

TEST(FirewallFile, HasTheOwnEnabledRulesOfPrograms) {
  FirewallListing listing;
  listing.inboundBlocked = false;
  listing.rules = {{true, "block", "in", "KORVEL: a.exe (in)", "C:\\a.exe"},
                   {true, "block", "out", "korvel: a.exe (out)", "C:\\a.exe"},
                   {true, "allow", "in", "KORVEL: b.exe (in)", "C:\\b.exe"},
                   {false, "allow", "out", "KORVEL: b.exe (out)", "C:\\b.exe"},
                   {true, "allow", "in", "Somebody else", "C:\\c.exe"},
                   {true, "block", "in", "KORVEL: block all inbound (public)", ""}};
  size_t leftOut = 99;
  EXPECT_EQ(firewallFileOf(listing, leftOut),
            (FirewallFile{.inboundBlocked = false,
                          .rules = {{"block", "both", "C:\\a.exe"}, {"allow", "in", "C:\\b.exe"}}}));
  EXPECT_EQ(leftOut, 1u);
}

TEST(FirewallFile, ARuleIsARequestOfTheService) {
  EXPECT_EQ(sample().rules[0].request(), "block|both|C:\\Tools\\a, b.exe");
}

TEST(FirewallFile, NothingIsAcceptedOfAFileWithAnError) {
  EXPECT_EQ(problemOf(""), "no JSON");
  EXPECT_EQ(problemOf("[]"), "no JSON");
  EXPECT_EQ(problemOf("{}"), "'schema' is missing or has another type");
  EXPECT_EQ(problemOf(R"({"schema":"korvel.firewall-rules/2","rules":[]})"),
            "the schema is not korvel.firewall-rules/1");
  EXPECT_EQ(problemOf(R"({"schema":"korvel.firewall-rules/1"})"), "'rules' is missing or has another type");
  EXPECT_EQ(problemOf(R"({"schema":"korvel.firewall-rules/1","rules":[],"more":1})"),
            "unknown member 'more'");
  EXPECT_EQ(problemOf(R"({"schema":"korvel.firewall-rules/1","rules":[],"inbound_blocked":"yes"})"),
            "'inbound_blocked' is missing or has another type");
  EXPECT_EQ(problemOf(withRule("7")), "'rules' is missing or has another type");
  EXPECT_EQ(problemOf(withRule(R"({"action":"drop","direction":"in","program":"C:\\a.exe"})")),
            "'action' cannot be 'drop'");
  EXPECT_EQ(problemOf(withRule(R"({"action":"block","direction":"up","program":"C:\\a.exe"})")),
            "'direction' cannot be 'up'");
  EXPECT_EQ(problemOf(withRule(R"({"action":"block","direction":"in"})")),
            "'program' is missing or has another type");
}

TEST(FirewallFile, AProgramHasAWholePath) {
  for (const char* path : {"", "a.exe", "\\\\a.exe", "C:a.exe", "C:\\\\", "\\\\\\\\", "C:\\\\a\\nb.exe"}) {
    const std::string rule = std::string(R"({"action":"block","direction":"in","program":")") + path + "\"}";
    EXPECT_NE(problemOf(withRule(rule)).find("no absolute path"), std::string::npos) << path;
  }
}

TEST(FirewallFile, EveryBeginningOfAFileIsRefused) {
  const std::string whole = formatFirewallFile(sample());
  for (size_t size = 0; size + 2 < whole.size(); ++size) {
    const std::string cut(whole.data(), size);
    EXPECT_EQ(parseFirewallFile(cut, Language::kRussian, nullptr), std::nullopt) << size;
  }
}

}  // namespace
}  // namespace korvel::ctl

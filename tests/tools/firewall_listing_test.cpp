#include "korvelctl/model/firewall_listing.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fw/firewall_text.h"
#include "korvelctl/render/firewall.h"

namespace korvel::ctl {
namespace {

constexpr char kText[] =
    "prof,domain,on\nprof,public,off\n"
    "rule,on,block,in,KORVEL: app.exe (in),C:\\Tools\\app.exe\n"
    "rule,off,allow,both,a\\,b,D:\\x\\,y.exe\n"
    "blockin,on\n"
    "error,не удалось: код 0x80004005\n";

FirewallListing listingOf(std::string_view text) {
  const auto listing = parseFirewallListing(text);
  EXPECT_TRUE(listing.has_value()) << text;
  return listing.value_or(FirewallListing());
}

TEST(FirewallListing, TakesEveryKindOfLine) {
  const FirewallListing listing = listingOf(kText);
  ASSERT_EQ(listing.profiles.size(), 2u);
  EXPECT_EQ(listing.profiles[0].name, "domain");
  EXPECT_TRUE(listing.profiles[0].on);
  EXPECT_FALSE(listing.profiles[1].on);
  ASSERT_EQ(listing.rules.size(), 2u);
  EXPECT_TRUE(listing.rules[0].enabled);
  EXPECT_TRUE(listing.rules[0].own());
  EXPECT_EQ(listing.rules[0].direction, "in");
  EXPECT_FALSE(listing.rules[1].enabled);
  EXPECT_FALSE(listing.rules[1].own());
  EXPECT_EQ(listing.rules[1].action, "allow");
  EXPECT_EQ(listing.rules[1].name, "a,b");
  EXPECT_EQ(listing.rules[1].application, "D:\\x,y.exe");
  EXPECT_EQ(listing.inboundBlocked, true);
  EXPECT_EQ(listing.errors, std::vector<std::string>{"не удалось: код 0x80004005"});
}

TEST(FirewallListing, TakesAnErrorWithoutALineFeed) {
  const FirewallListing listing = listingOf("error,брандмауэр недоступен");
  EXPECT_EQ(listing.errors.size(), 1u);
  EXPECT_EQ(listing.inboundBlocked, std::nullopt);
}

TEST(FirewallListing, UnderstandsWhatTheServiceWrites) {
  fw::FirewallStatus status;
  status.profiles = {{"private", true}};
  status.rules = {{true, 1, 2, "имя, с запятой", "C:\\a,b.exe"}};
  status.errors = {"один, два"};
  const FirewallListing listing = listingOf(firewallStatusText(status));
  ASSERT_EQ(listing.rules.size(), 1u);
  EXPECT_EQ(listing.rules[0].name, "имя, с запятой");
  EXPECT_EQ(listing.rules[0].application, "C:\\a,b.exe");
  EXPECT_EQ(listing.errors[0], "один, два");
  EXPECT_EQ(listing.inboundBlocked, false);
}

TEST(FirewallListing, KeepsARuleWhoseNameEndsInABackslash) {
  const FirewallListing listing = listingOf("rule,on,allow,in,name\\,C:\\a.exe\nblockin,off\n");
  ASSERT_EQ(listing.rules.size(), 1u);
  EXPECT_EQ(listing.rules[0].name, "name,C:\\a.exe");
  EXPECT_EQ(listing.rules[0].application, "");
}

TEST(FirewallListing, RefusesLinesOfNoKnownKind) {
  for (const char* text : {"\n", "prof,domain\n", "prof,domain,1\n", "prof,domain,on,x\n",
                           "rule,on,block,in\n", "rule,yes,block,in,a,b\n", "rule,on,block,in,a,b,c\n",
                           "blockin\n", "blockin,1\n", "error\n", "error,a,b\n", "note,a\n"}) {
    EXPECT_FALSE(parseFirewallListing(text).has_value()) << text;
  }
}

TEST(RenderFirewall, ShowsProfilesTheBlockAndRules) {
  EXPECT_EQ(renderFirewall(listingOf(kText), /*ownOnly=*/false, Look()),
            "Profile domain  on\n"
            "Profile public  off\n"
            "Inbound         blocked by KORVEL\n"
            "\n"
            "RULE  ACTION  DIRECTION  NAME                  PROGRAM\n"
            "on    block   in         KORVEL: app.exe (in)  C:\\Tools\\app.exe\n"
            "off   allow   both       a,b                   D:\\x,y.exe\n");
}

TEST(RenderFirewall, LeavesOutTheRulesOfOthers) {
  const std::string text = renderFirewall(listingOf(kText), /*ownOnly=*/true, Look());
  EXPECT_NE(text.find("KORVEL: app.exe (in)"), std::string::npos);
  EXPECT_EQ(text.find("a,b"), std::string::npos);
}

TEST(RenderFirewall, SaysWhenThereAreNoRules) {
  const FirewallListing listing = listingOf("blockin,off\n");
  EXPECT_EQ(renderFirewall(listing, false, Look()), "Inbound  not blocked by KORVEL\nno rules\n");
  EXPECT_EQ(renderFirewall(listing, true, Look()),
            "Inbound  not blocked by KORVEL\nno rules of KORVEL for programs\n");
}

TEST(RenderFirewall, ShowsNothingOfAFirewallThatCouldNotBeAsked) {
  EXPECT_EQ(renderFirewall(listingOf("error,нет"), false, Look()), "");
}

TEST(RenderFirewall, MakesNamesPrintable) {
  const std::string text =
      renderFirewall(listingOf("rule,on,block,in,a\x1b[2J,b\x07\nblockin,off\n"), false, Look());
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
  EXPECT_EQ(text.find('\x07'), std::string::npos);
}

TEST(FirewallJson, HasEveryPart) {
  const auto json = firewallJson(listingOf(kText), /*ownOnly=*/false);
  const std::string expected =
      R"json({"profiles":{"domain":true,"public":false},"inbound_blocked":true,"rules":[)json"
      R"json({"name":"KORVEL: app.exe (in)","application":"C:\\Tools\\app.exe","enabled":true,)json"
      R"json("action":"block","direction":"in","own":true},)json"
      R"json({"name":"a,b","application":"D:\\x,y.exe","enabled":false,)json"
      R"json("action":"allow","direction":"both","own":false}]})json";
  EXPECT_EQ(json.dump(), expected);
  EXPECT_EQ(firewallJson(listingOf(kText), /*ownOnly=*/true)["rules"].size(), 1u);
}

TEST(FirewallJson, HasNoBlockStateOfAFirewallThatCouldNotBeAsked) {
  EXPECT_TRUE(firewallJson(listingOf("error,нет"), false)["inbound_blocked"].is_null());
}

}  // namespace
}  // namespace korvel::ctl

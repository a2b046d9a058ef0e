#include "remedy/blocklist_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace korvel {
namespace {

using Domains = std::vector<std::string>;

Domains parse(std::string list) {
  Domains domains;
  appendDomains(std::move(list), domains);
  return domains;
}

TEST(DomainList, HasOneDomainALineInTheOrderOfTheSource) {
  EXPECT_EQ(parse("b.com\na.com\r\nc.com"), (Domains{"b.com", "a.com", "c.com"}));
}

TEST(DomainList, CommentsAndEmptyLinesAreSkipped) {
  EXPECT_EQ(parse("# a.com\n\n\r\n#\nb.com\n"), Domains{"b.com"});
  EXPECT_EQ(parse(""), Domains{});
  EXPECT_EQ(parse("# only\n\n# comments\n"), Domains{});
}

TEST(DomainList, OneDomainInTwoCasesIsOneDomain) {
  EXPECT_EQ(parse("Example.COM\nexample.com\nwww.example.com\n"),
            (Domains{"example.com", "www.example.com"}));
}

TEST(DomainList, LinesInHostsFormAreRejected) {
  EXPECT_EQ(parse("127.0.0.1 a.com\n0.0.0.0\tb.com\nhttp://c.com/\n1.2.3.4\nlocalhost\n"), Domains{});
}

TEST(DomainList, LineIsTakenWholeBlanksIncluded) {
  EXPECT_EQ(parse(" A.com \nb.com\r\r\n #c.com\n"), (Domains{" a.com ", "b.com\r"}));
}

TEST(DomainList, DomainsAreAppendedAndDuplicatesCountWithinOneSourceOnly) {
  Domains domains{"a.com"};
  appendDomains("a.com\na.com\n", domains);
  EXPECT_EQ(domains, (Domains{"a.com", "a.com"}));
}

TEST(DomainList, NoPrefixReadsBeyondItsEnd) {
  const std::string text = "a.com\r\n#x\nB.org\n";
  for (size_t length = 0; length <= text.size(); ++length) {
    const Domains domains = parse(text.substr(0, length));
    EXPECT_EQ(domains.size(), (length >= 3 ? 1u : 0u) + (length >= 13 ? 1u : 0u)) << length;
  }
}

TEST(DomainList, ManyDomainsKeepTheirOrder) {
  std::string list;
  Domains expected;
  for (int i = 0; i < 50'000; ++i) {
    expected.push_back("d" + std::to_string(i) + ".com");
    list += expected.back() + "\nD" + std::to_string(i / 2) + ".COM\n";
  }
  EXPECT_EQ(parse(list), expected);
}

}  // namespace
}  // namespace korvel

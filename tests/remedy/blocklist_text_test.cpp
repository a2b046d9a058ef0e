#include "remedy/blocklist_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace korvel {
namespace {

using Domains = std::vector<std::string>;

DomainList read(std::string_view text, size_t step) {
  DomainListReader reader;
  for (size_t at = 0; at < text.size(); at += step) reader.take(text.substr(at, step));
  return reader.finish();
}

Domains parse(std::string_view text) {
  DomainList list = read(text, text.size() + 1);
  EXPECT_EQ(list.count, list.first.size());
  return std::move(list.first);
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

TEST(DomainList, PiecesMayBeCutAnywhere) {
  const std::string text = "# x\r\nA.com\r\n\nb.org\na.COM\nwww.c.net\r\nlast.com";
  const Domains expected = parse(text);
  ASSERT_EQ(expected, (Domains{"a.com", "b.org", "www.c.net", "last.com"}));
  for (size_t step = 1; step <= text.size(); ++step) EXPECT_EQ(read(text, step).first, expected) << step;
}

TEST(DomainList, ReaderBeginsAnewAfterItsEnd) {
  DomainListReader reader;
  reader.take("a.com\nb.c");
  EXPECT_EQ(reader.finish().first, (Domains{"a.com", "b.c"}));
  reader.take("om.org\na.com");
  const DomainList list = reader.finish();
  EXPECT_EQ(list.first, (Domains{"om.org", "a.com"}));
  EXPECT_EQ(list.count, 2u);
}

TEST(DomainList, AllDomainsAreCountedAndThoseThatABlockTakesAreKept) {
  std::string text;
  for (int i = 0; i < 60'001; ++i) text += "www.d" + std::to_string(i) + ".com\n";
  const DomainList list = read(text, 1000);
  EXPECT_EQ(list.count, 60'001u);
  ASSERT_EQ(list.first.size(), 60'000u);
  EXPECT_EQ(list.first.back(), "www.d59999.com");
}

TEST(DomainList, NoPrefixReadsBeyondItsEnd) {
  const std::string text = "a.com\r\n#x\nB.org\n";
  for (size_t length = 0; length <= text.size(); ++length) {
    const Domains domains = parse(std::string(text, 0, length));
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

#include "remedy/hosts_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "base/text.h"

namespace korvel {
namespace {

const std::string kBegin = "# KORVEL WEB SHIELD BEGIN\n";
const std::string kEnd = "# KORVEL WEB SHIELD END\n";

std::string entry(const std::string& domain) { return "127.0.0.1 " + domain + " # korvel-blocked\n"; }

size_t occurrences(std::string_view text, std::string_view what) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(what, at)) != std::string_view::npos; at += what.size()) ++count;
  return count;
}

// --- domains ---

TEST(BlockDomain, PlainNamesAreAccepted) {
  for (const char* domain : {"example.com", "Example.COM", "1a.com", "a.b", "-.a", "x--y.co", "a.1",
                             "WWW.x.y", "xn--80ak6aa92e.com", " example.com\t", "example.com\r\n"}) {
    EXPECT_TRUE(isValidBlockDomain(domain)) << domain;
  }
}

TEST(BlockDomain, NamesAgainstARuleAreRejected) {
  for (const char* domain :
       {"",        " ",        "localhost",    "-.",        ".a.com",          "a.com.",
        "a..b",    "1.2.3.4",  "ex_ample.com", "a b.com",   "127.0.0.1 a.com", "http://a.com",
        "a.com/x", "a.com:80", "*.a.com",      "пример.рф", "a\t.com",         ".",
        "..",      "..a"}) {
    EXPECT_FALSE(isValidBlockDomain(domain)) << domain;
  }
  EXPECT_FALSE(isValidBlockDomain(std::string_view("a\0.com", 6)));
}

TEST(BlockDomain, LengthIsOneTo253AfterTrimming) {
  const std::string longest = "a." + std::string(251, 'b');
  ASSERT_EQ(longest.size(), 253u);
  EXPECT_TRUE(isValidBlockDomain(longest));
  EXPECT_TRUE(isValidBlockDomain("  " + longest + "  "));
  EXPECT_FALSE(isValidBlockDomain(longest + "b"));
}

TEST(BlockDomain, OnlyTheAllowedBytesAreAcceptedInside) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool allowed =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.';
    EXPECT_EQ(isValidBlockDomain(std::string("a") + c + "b.com"), allowed) << byte;
  }
}

// --- applying ---

TEST(ApplyHostsBlock, WritesTheBlockToTheByte) {
  EXPECT_EQ(applyHostsBlock("127.0.0.1 localhost\n", {"Example.COM", "www.Other.org"}),
            "127.0.0.1 localhost\n\n" + kBegin + entry("example.com") + entry("www.example.com") +
                entry("www.other.org") + kEnd);
}

TEST(ApplyHostsBlock, EmptyFileGetsAnEmptyLineAndTheBlock) {
  EXPECT_EQ(applyHostsBlock("", {"a.b"}), "\n" + kBegin + entry("a.b") + entry("www.a.b") + kEnd);
}

TEST(ApplyHostsBlock, EmptyListWritesAnEmptyBlock) {
  EXPECT_EQ(applyHostsBlock("x", {}), "x\n\n" + kBegin + kEnd);
}

TEST(ApplyHostsBlock, ExactlyOneEmptyLineStandsBeforeTheBlock) {
  for (const char* tail : {"", "\n", "\n\n\n", "\n \t\n\r\n", "\r\n\r\n"}) {
    EXPECT_EQ(applyHostsBlock("x" + std::string(tail), {}), "x\n\n" + kBegin + kEnd);
  }
}

TEST(ApplyHostsBlock, ReplacesTheOldBlockWhereverItStands) {
  const std::string once = applyHostsBlock("a\nb\n", {"old.com"});
  EXPECT_EQ(applyHostsBlock(once, {"old.com"}), once);
  EXPECT_EQ(applyHostsBlock(once + "c\n", {"new.com"}),
            "a\nb\n\nc\n\n" + kBegin + entry("new.com") + entry("www.new.com") + kEnd);
}

TEST(ApplyHostsBlock, UserLinesKeepTheirSpacingAndLoseOnlyTheCarriageReturn) {
  EXPECT_EQ(applyHostsBlock("  ::1\t localhost  \r\n\r\n#x\r\r\n", {}),
            "  ::1\t localhost  \n\n#x\r\n\n" + kBegin + kEnd);
}

TEST(ApplyHostsBlock, BeginWithoutEndDropsTheRest) {
  EXPECT_EQ(applyHostsBlock("a\n" + kBegin + "b\nc\n", {}), "a\n\n" + kBegin + kEnd);
}

TEST(ApplyHostsBlock, EndWithoutBeginIsDroppedAlone) {
  EXPECT_EQ(applyHostsBlock("a\n" + kEnd + "b\n", {}), "a\nb\n\n" + kBegin + kEnd);
}

TEST(ApplyHostsBlock, SeveralBlocksBecomeOne) {
  EXPECT_EQ(applyHostsBlock(
                "a\n" + kBegin + "x\n" + kEnd + "b\n" + kBegin + kBegin + "y\n" + kEnd + kEnd + "c\n", {}),
            "a\nb\nc\n\n" + kBegin + kEnd);
}

TEST(ApplyHostsBlock, MarkersAreRecognisedTrimmedAndInExactlyThisCase) {
  EXPECT_EQ(applyHostsBlock(" \t# KORVEL WEB SHIELD BEGIN \r\nx\n\t# KORVEL WEB SHIELD END\ny\n", {}),
            "y\n\n" + kBegin + kEnd);
  const std::string lower = "# korvel web shield begin\n";
  EXPECT_EQ(applyHostsBlock(lower + "x\n", {}), lower + "x\n\n" + kBegin + kEnd);
  const std::string longer = "# KORVEL WEB SHIELD BEGIN!\n";
  EXPECT_EQ(applyHostsBlock(longer + "x\n", {}), longer + "x\n\n" + kBegin + kEnd);
}

TEST(ApplyHostsBlock, InvalidDomainsAreSkippedAndDuplicatesKept) {
  EXPECT_EQ(applyHostsBlock("", {"localhost", "www.a.b", "a..b", "www.a.b", ""}),
            "\n" + kBegin + entry("www.a.b") + entry("www.a.b") + kEnd);
}

TEST(ApplyHostsBlock, BlanksAroundADomainAreWrittenAsGiven) {
  EXPECT_EQ(applyHostsBlock("", {" Www.A.b"}),
            "\n" + kBegin + entry(" www.a.b") + entry("www. www.a.b") + kEnd);
}

TEST(ApplyHostsBlock, BudgetIsTestedBeforeEachDomain) {
  // Two lines per domain: the counter goes 2, 4, ... 60,000, which is not above the budget, then 60,002.
  std::vector<std::string> plain;
  for (int i = 0; i < 30'100; ++i) plain.push_back("d" + std::to_string(i) + ".com");
  const std::string text = applyHostsBlock("", plain);
  EXPECT_EQ(countHostsBlockEntries(text), 60'000u);
  EXPECT_NE(text.find(entry("d29999.com") + entry("www.d29999.com") + kEnd), std::string::npos);
  EXPECT_EQ(text.find("d30000.com"), std::string::npos);

  plain.resize(30'000);
  EXPECT_EQ(applyHostsBlock("", plain), text);

  // One line per domain: 59,999 of them bring the counter to 60,001.
  std::vector<std::string> www;
  for (int i = 0; i < 60'100; ++i) www.push_back("www.d" + std::to_string(i) + ".com");
  EXPECT_EQ(countHostsBlockEntries(applyHostsBlock("", www)), 59'999u);

  // The last domain admitted at exactly 60,000 may still write two lines.
  www.resize(59'998);
  www.push_back("last.com");
  www.push_back("more.com");
  EXPECT_EQ(countHostsBlockEntries(applyHostsBlock("", www)), 60'000u);
}

TEST(ApplyHostsBlock, InvalidDomainsDoNotUseTheBudget) {
  std::vector<std::string> domains(70'000, "localhost");
  domains.push_back("a.b");
  EXPECT_EQ(countHostsBlockEntries(applyHostsBlock("", domains)), 2u);
}

// --- removing and counting ---

TEST(RemoveHostsBlock, GivesTheUserLinesBack) {
  EXPECT_EQ(removeHostsBlock(applyHostsBlock("a\r\nb", {"x.com"})), "a\nb\n\n");
  EXPECT_EQ(removeHostsBlock("a\n" + kBegin + "x\n" + kEnd + "\n\nb\n\n"), "a\n\n\nb\n\n");
  EXPECT_EQ(removeHostsBlock(kBegin + kEnd), "");
}

TEST(MentionsHostsBlock, LooksForTheMarkerTextAnywhere) {
  EXPECT_FALSE(mentionsHostsBlock(""));
  EXPECT_FALSE(mentionsHostsBlock("# korvel web shield begin\n127.0.0.1 a # korvel-blocked\n"));
  EXPECT_TRUE(mentionsHostsBlock(kBegin));
  EXPECT_TRUE(mentionsHostsBlock(kEnd));
  EXPECT_TRUE(mentionsHostsBlock("note: # KORVEL WEB SHIELD ENDS here"));
}

TEST(CountHostsBlockEntries, CountsTheNonBlankLinesInside) {
  EXPECT_EQ(countHostsBlockEntries(applyHostsBlock("user\n", {"a.com", "b.com"})), 4u);
  EXPECT_EQ(countHostsBlockEntries("a\n" + kBegin + "x\n \t\r\n\n# y\n" + kEnd + "b\n" + kBegin + "z\n"), 3u);
  EXPECT_EQ(countHostsBlockEntries("a\nb\n"), 0u);
  EXPECT_EQ(countHostsBlockEntries(""), 0u);
  EXPECT_EQ(countHostsBlockEntries(kBegin + kEnd), 0u);
}

// --- properties over random files and lists ---

class RandomHosts {
 public:
  explicit RandomHosts(unsigned seed) : random_(seed) {}

  std::string file() {
    static const char* const kPieces[] = {"127.0.0.1 localhost",
                                          "\n",
                                          "\r\n",
                                          "\r",
                                          " ",
                                          "\t",
                                          "# KORVEL WEB SHIELD BEGIN",
                                          "# KORVEL WEB SHIELD END",
                                          "# korvel web shield begin",
                                          "#",
                                          "a",
                                          "\n\n"};
    std::string text;
    for (size_t count = random_() % 40; count > 0; --count) text += kPieces[random_() % std::size(kPieces)];
    return text;
  }

  std::vector<std::string> domains() {
    static const char* const kPieces[] = {"a", "B", "www.", ".", "-", "9", "com", " ", "_", "\n", "\r"};
    std::vector<std::string> list(random_() % 8);
    for (std::string& domain : list) {
      for (size_t count = random_() % 7; count > 0; --count)
        domain += kPieces[random_() % std::size(kPieces)];
    }
    return list;
  }

 private:
  std::mt19937 random_;
};

/// The lines outside any block, found in another way than the code under test does: with their CR removed and
/// without the empty ones at the end.
std::vector<std::string> userLines(const std::string& text) {
  std::vector<std::string> lines;
  bool inside = false;
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    at = end + 1;
    const std::string bare = std::string(trimmed(line, " \t\r\n"));
    if (bare + "\n" == kBegin) {
      inside = true;
    } else if (bare + "\n" == kEnd) {
      inside = false;
    } else if (!inside) {
      if (line.ends_with('\r')) line.pop_back();
      lines.push_back(line);
    }
  }
  while (!lines.empty() && trimmed(lines.back(), " \t\r\n").empty()) lines.pop_back();
  return lines;
}

/// Every rewrite removes one CR from a line that ends in several; compare without them.
std::vector<std::string> withoutTrailingReturns(std::vector<std::string> lines) {
  for (std::string& line : lines) {
    while (line.ends_with('\r')) line.pop_back();
  }
  return lines;
}

TEST(HostsBlockProperty, UserLinesSurviveAnyNumberOfRounds) {
  RandomHosts random(3);
  for (int file = 0; file < 2000; ++file) {
    std::string text = random.file();
    const std::vector<std::string> before = userLines(text);
    const std::string first = removeHostsBlock(applyHostsBlock(text, random.domains()));
    EXPECT_EQ(userLines(first).size(), before.size());
    for (int round = 0; round < 6; ++round) {
      text = round % 3 == 2 ? removeHostsBlock(text) : applyHostsBlock(text, random.domains());
      ASSERT_EQ(withoutTrailingReturns(userLines(text)), withoutTrailingReturns(before));
    }
  }
}

TEST(HostsBlockProperty, OneRewriteKeepsEachLineToTheByteButItsReturn) {
  RandomHosts random(4);
  for (int file = 0; file < 2000; ++file) {
    const std::string text = random.file();
    const std::vector<std::string> before = userLines(text);
    std::string expected;
    for (const std::string& line : before) expected += line + "\n";
    EXPECT_EQ(applyHostsBlock(text, {}), expected + "\n" + kBegin + kEnd);
  }
}

TEST(HostsBlockProperty, ApplyingTwiceIsApplyingOnce) {
  RandomHosts random(5);
  for (int file = 0; file < 2000; ++file) {
    std::string text = random.file();
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    const std::vector<std::string> domains = random.domains();
    const std::string once = applyHostsBlock(text, domains);
    EXPECT_EQ(applyHostsBlock(once, domains), once);
    EXPECT_EQ(occurrences(once, kBegin), 1 + occurrences(removeHostsBlock(text), kBegin));
  }
}

TEST(HostsBlockProperty, NoPrefixOfAFileReadsBeyondItsEnd) {
  const std::string text = applyHostsBlock("127.0.0.1 localhost\r\n", {"a.com"}) + "tail";
  for (size_t length = 0; length <= text.size(); ++length) {
    const std::unique_ptr<char[]> block(new char[length]);
    std::copy_n(text.data(), length, block.get());
    const std::string_view prefix(block.get(), length);
    (void)countHostsBlockEntries(prefix);
    EXPECT_EQ(removeHostsBlock(prefix).starts_with("127.0.0.1 localhost\n"), length >= 19) << length;
  }
}

TEST(BlockedName, IsWhatAnEntryOfTheBlockBlocks) {
  std::vector<std::string> names;
  std::vector<HostsLine> kinds;
  const std::string hosts = applyHostsBlock("127.0.0.1 localhost\n", {"www.evil.example"});
  visitHostsLines(hosts, [&](std::string_view line, HostsLine kind) {
    kinds.push_back(kind);
    if (kind == HostsLine::kInside) names.emplace_back(blockedName(line));
  });
  EXPECT_EQ(names, std::vector<std::string>{"www.evil.example"});
  EXPECT_EQ(kinds, (std::vector<HostsLine>{HostsLine::kOutside, HostsLine::kOutside, HostsLine::kBegin,
                                           HostsLine::kInside, HostsLine::kEnd}));
}

TEST(BlockedName, OfALineThatIsNoneOfOursIsEmpty) {
  const std::string hosts = applyHostsBlock("", {"www.evil.example"});
  std::string entry;
  visitHostsLines(hosts, [&](std::string_view line, HostsLine kind) {
    if (kind == HostsLine::kInside) entry = line;
  });
  const size_t name = entry.find("www.evil.example");
  ASSERT_NE(name, std::string::npos);
  const std::string start = entry.substr(0, name);
  const std::string end = entry.substr(name + std::string_view("www.evil.example").size());
  EXPECT_EQ(blockedName(start + "a" + end), "a");
  EXPECT_EQ(blockedName(start + end), "");
  EXPECT_EQ(blockedName("x" + entry), "");
  EXPECT_EQ(blockedName(start), "");
  if (!end.empty()) {
    EXPECT_EQ(blockedName(entry + "x"), "");
    EXPECT_EQ(blockedName(end), "");
    EXPECT_EQ(blockedName(start + "a"), "");
  }
}

}  // namespace
}  // namespace korvel

#include "signatures/signature_table.h"

#include <gtest/gtest.h>

#include "signatures/signature_text.h"

namespace korvel {
namespace {

const std::string kMd5(32, 'a');
const std::string kSha1(40, 'b');
const std::string kSha256(64, 'c');

SignatureTable tableOf(const std::string& text) { return parseSignatureText(text).table; }

/// The entry for kSha256 after a file with one line, then a second file with another.
SignatureMatch afterBoth(const std::string& olderLine, const std::string& newerLine) {
  const SignatureTable table = mergedTable(tableOf(kSha256 + olderLine + "\n"), tableOf(""));
  const SignatureTable merged = mergedTable(tableOf(kSha256 + newerLine + "\n"), table);
  SignatureMatch match;
  EXPECT_EQ(merged.size(), 1u);
  EXPECT_TRUE(merged.findText(kSha256, &match));
  return match;
}

TEST(SignatureLookup, ReturnsAllFieldsOfTheEntry) {
  const SignatureTable table = tableOf(kSha256 + ":T:F:low:N:R\n");
  SignatureMatch match;
  ASSERT_TRUE(table.lookup("", "", kSha256, &match));
  EXPECT_EQ(match, (SignatureMatch{"N", "F", kSeverityLow, "R", kSha256}));
}

TEST(SignatureLookup, TriesSha256ThenSha1ThenMd5) {
  SignatureMatch match;
  const SignatureTable all = tableOf(kMd5 + ":M\n" + kSha1 + ":S\n" + kSha256 + ":L\n");
  EXPECT_TRUE(all.lookup(kMd5, kSha1, kSha256, &match));
  EXPECT_EQ(match.threatName, "L");
  EXPECT_TRUE(all.lookup(kMd5, kSha1, std::string(64, '0'), &match));
  EXPECT_EQ(match.threatName, "S");
  EXPECT_TRUE(all.lookup(kMd5, std::string(40, '0'), "", &match));
  EXPECT_EQ(match.threatName, "M");
  EXPECT_EQ(match.hash, kMd5);
}

TEST(SignatureLookup, ReadsTheQueryInAnyCase) {
  SignatureMatch match;
  ASSERT_TRUE(tableOf(kSha1 + ":N\n").lookup("", std::string(40, 'B'), "", &match));
  EXPECT_EQ(match.hash, kSha1);
}

TEST(SignatureLookup, TheLengthOfTheTextTellsTheKindNotItsPlace) {
  const SignatureTable table = tableOf(kMd5 + ":M\n" + kSha1 + ":S\n" + kSha256 + ":L\n");
  SignatureMatch match;
  EXPECT_TRUE(table.lookup(kSha256, "", "", &match));
  EXPECT_EQ(match.threatName, "L");
  EXPECT_TRUE(table.lookup("", "", kMd5, &match));
  EXPECT_EQ(match.threatName, "M");
}

TEST(SignatureLookup, TextsThatAreNoDigestAreNotListed) {
  const SignatureTable table = tableOf(kMd5 + "\n" + kSha1 + "\n" + kSha256 + "\n");
  for (const std::string& text : {std::string(), kMd5 + "a", kSha256.substr(1), std::string(64, 'g'),
                                  " " + kMd5, kMd5 + std::string(1, '\0')}) {
    EXPECT_FALSE(table.lookup(text, text, text, nullptr)) << text;
  }
}

TEST(SignatureLookup, AMissLeavesAClearedMatch) {
  for (const char* text : {"", "00000000000000000000000000000000:N\n"}) {
    SignatureMatch match{"old", "old", kSeverityLow, "old", "old"};
    EXPECT_FALSE(tableOf(text).lookup(kMd5, kSha1, kSha256, &match));
    EXPECT_EQ(match, SignatureMatch());
    EXPECT_EQ(match.severity, 3);
  }
}

TEST(SignatureLookup, NeedsNoMatch) {
  const SignatureTable table = tableOf(kMd5 + "\n");
  EXPECT_TRUE(table.lookup(kMd5, "", "", nullptr));
  EXPECT_FALSE(table.lookup("", kSha1, kSha256, nullptr));
}

TEST(SignatureLookup, FindsBinaryDigestsByTheirLength) {
  const SignatureTable table = tableOf(kMd5 + ":M\n" + kSha256 + ":L\n");
  const std::array<uint8_t, 32> sha256 = [] {
    std::array<uint8_t, 32> bytes;
    bytes.fill(0xCC);
    return bytes;
  }();
  SignatureMatch match;
  EXPECT_TRUE(table.find(sha256, &match));
  EXPECT_EQ(match.threatName, "L");
  EXPECT_EQ(match.hash, kSha256);
  EXPECT_FALSE(table.find(std::span(sha256).first(20), &match));
  EXPECT_FALSE(table.find(std::span(sha256).first(31), &match));
  EXPECT_FALSE(table.find({}, &match));
}

TEST(SignatureMerge, AddsWhatIsNew) {
  const SignatureTable merged =
      mergedTable(tableOf(kSha1 + ":S\n"), tableOf(kMd5 + ":M\n" + kSha256 + ":L\n"));
  EXPECT_EQ(merged.size(), 3u);
  for (const std::string& hash : {kMd5, kSha1, kSha256}) EXPECT_TRUE(merged.findText(hash, nullptr)) << hash;
}

TEST(SignatureMerge, AGenericEntryGivesWayToANamedOneInEitherOrder) {
  EXPECT_EQ(afterBoth(":Win.Trojan.Generic", ":Named").threatName, "Named");
  EXPECT_EQ(afterBoth(":Named", ":Win.Trojan.Generic").threatName, "Named");
  EXPECT_EQ(afterBoth("", ":Named").threatName, "Named");
  EXPECT_EQ(afterBoth(":Named", "").threatName, "Named");
}

TEST(SignatureMerge, OnlyTheExactGenericNameGivesWay) {
  EXPECT_EQ(afterBoth(":win.trojan.generic", ":Named").threatName, "win.trojan.generic");
  EXPECT_EQ(afterBoth(":Win.Trojan.Generic", ":win.trojan.generic").threatName, "win.trojan.generic");
}

TEST(SignatureMerge, AReferenceReplacesAnEntryWithoutOne) {
  EXPECT_EQ(afterBoth(":Old", ":t:F:low:New:R"), (SignatureMatch{"New", "F", kSeverityLow, "R", kSha256}));
  EXPECT_EQ(afterBoth(":t:F:low:Old:R", ":t:F:high:New:Q").threatName, "Old");
  // A reference wins even when the name gets worse.
  EXPECT_EQ(afterBoth(":Old", ":t:F:low:Win.Trojan.Generic:R").threatName, "Win.Trojan.Generic");
}

TEST(SignatureMerge, AFamilyReplacesAnEntryWithoutOne) {
  EXPECT_EQ(afterBoth(":Old::", ":New:F").threatName, "New");
  EXPECT_EQ(afterBoth(":Old:F", ":New:G").threatName, "Old");
  EXPECT_EQ(afterBoth(":Old:F", ":New::").threatName, "Old");
}

TEST(SignatureMerge, OtherwiseTheEntryHeldStays) {
  EXPECT_EQ(afterBoth(":Old", ":New").threatName, "Old");
  EXPECT_EQ(afterBoth(":t:F:low:Old:R", ":t:F:critical:New:R").severity, kSeverityLow);
  EXPECT_EQ(afterBoth("", "").threatName, "Win.Trojan.Generic");
}

TEST(SignatureMerge, AGenericEntryDoesNotGiveWayToAnotherGenericOne) {
  EXPECT_EQ(afterBoth(":Win.Trojan.Generic:F", ":Win.Trojan.Generic:G").family, "F");
  EXPECT_EQ(afterBoth(":t:F:low:Win.Trojan.Generic:R", "").severity, kSeverityLow);
}

TEST(SignatureMerge, AnEmptyNameIsANameOfItsOwn) {
  EXPECT_EQ(afterBoth("", "::F").threatName, "");
  EXPECT_EQ(afterBoth("::F", ":Named:F").threatName, "");
}

TEST(SignatureMerge, TheTagTravelsWithTheEntry) {
  hash::Digest digest;
  ASSERT_TRUE(digest.parse(kSha256));
  const auto tagAfter = [&digest](const std::string& older) {
    const SignatureTable merged =
        mergedTable(tableOf(kSha256 + ":newer:F:low:N:R\n"), tableOf(kSha256 + older + "\n"));
    SignatureFields fields;
    EXPECT_TRUE(merged.fields(digest.bytes(), fields));
    return std::string(fields.tag);
  };
  EXPECT_EQ(tagAfter(":older:F:low:N:R"), "older");
  EXPECT_EQ(tagAfter(":older:F:low:N::"), "newer");
}

TEST(SignatureCursor, VisitsEveryKindInTheOrderOfTheTexts) {
  const std::string ones(32, '1');
  const SignatureTable table =
      tableOf(ones + ":M\n" + std::string(64, '1') + "\n" + std::string(40, '1') + ":S\n" +
              std::string(64, '0') + ":t:F:low:N:R\n" + std::string(32, 'F') + "\n");
  std::string seen;
  for (SignatureCursor at(table); !at.atEnd(); at.next()) {
    seen += hash::encodeHex(at.digest()).substr(0, 1) + std::to_string(at.digest().size()) + ":" +
            std::string(at.fields().threatName) + (at.isBare() ? "* " : " ");
  }
  EXPECT_EQ(seen, "032:N 116:M 120:S 132:Win.Trojan.Generic* f16:Win.Trojan.Generic* ");
}

TEST(SignatureCursor, AnEmptyTableHasNothingToVisit) {
  const SignatureTable table;
  SignatureCursor at(table);
  EXPECT_TRUE(at.atEnd());
  at.next();
  EXPECT_TRUE(at.atEnd());
}

TEST(SignatureTable, ABareSha256EntryTakesAtMost36Bytes) {
  std::string text;
  constexpr uint64_t kEntries = 100'000;
  for (uint64_t at = 0; at < kEntries; ++at) {
    char line[66];
    std::snprintf(line, sizeof line, "%016llx%048d\n",
                  static_cast<unsigned long long>(at * 0x9E3779B97F4A7C15u), 0);
    text += line;
  }
  const SignatureTable table = tableOf(text);
  ASSERT_EQ(table.size(), kEntries);
  EXPECT_LE(table.residentBytes(), 36 * kEntries);
}

}  // namespace
}  // namespace korvel

#include "korvelsig/file_check.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "korvelsig_run.h"

namespace korvel::sig {
namespace {

using test::kMd5;
using test::kSha1;
using test::kSha256A;
using test::kSha256B;

const std::string kHead = "KORVELDB/1\nVERSION v1\nGENERATED 1\n";

/// A file of three good entries and `lines` after them.
std::string goodAnd(const std::string& lines) {
  return kHead + "# three good entries\n" + kMd5 + ":Win.Worm.A:A\n" + kSha1 +
         ":t:A:high:Win.Worm.A:example.org/a\n" + std::string(64, 'e') + "\n" + lines;
}

CheckedFile check(const std::string& text, size_t pieceBytes = 7, bool strict = false) {
  test::MemoryFiles files;
  FileCheck file(/*table=*/nullptr, strict);
  files.content["x"] = text;
  files.pieceBytes = pieceBytes;
  files.read("x", [&](std::string_view piece) { file.feed(piece); });
  CheckedFile checked = file.finish();
  if (checked.ascending) return checked;
  RepeatedLines repeated;
  files.read("x", [&](std::string_view piece) { repeated.feed(piece); });
  addRepeatedLines(repeated.finish(), checked);
  return checked;
}

/// "E01:8" for each finding.
std::string ids(const CheckedFile& file) {
  std::string text;
  for (const Finding& finding : file.findings) {
    text +=
        (text.empty() ? "" : " ") + std::string(findingName(finding.id)) + ":" + std::to_string(finding.line);
  }
  return text;
}

std::string idsAfterGood(const std::string& line) { return ids(check(goodAnd(line + "\n"))); }

TEST(FileCheck, AGoodFileHasNoFindings) {
  EXPECT_EQ(ids(check(goodAnd(""))), "");
  EXPECT_EQ(ids(check(goodAnd("# comment \xD0\x98\n\n"))), "");
  const CheckedFile file = check(goodAnd(""));
  EXPECT_EQ(file.entryLines, 3u);
  EXPECT_EQ(file.skippedLines, 0u);
  EXPECT_EQ(file.lines, 7u);
  EXPECT_EQ(file.version, "v1");
}

TEST(FileCheck, CrLfIsNoFinding) {
  std::string text;
  for (const char c : goodAnd("")) text += c == '\n' ? "\r\n" : std::string(1, c);
  EXPECT_EQ(ids(check(text)), "");
}

TEST(FileCheck, AnInvalidDigestIsE01) {
  EXPECT_EQ(idsAfterGood(std::string(63, 'a') + "g:N"), "E01:8");
  EXPECT_EQ(idsAfterGood(" " + kSha256B), "E01:8");
  EXPECT_EQ(idsAfterGood(kSha256B + " :N"), "E01:8");
  EXPECT_EQ(idsAfterGood("version 2"), "E01:8");
  EXPECT_EQ(idsAfterGood(":N"), "E01:8");
  EXPECT_EQ(idsAfterGood(kSha256B + "\r\r"), "E01:8");
}

TEST(FileCheck, AByteOrderMarkIsNamed) {
  const CheckedFile file = check("\xEF\xBB\xBF" + goodAnd(""));
  ASSERT_EQ(ids(file), "E01:1 W04:0");
  EXPECT_NE(file.findings[0].text.find("byte-order mark"), std::string::npos);
}

TEST(FileCheck, ADigestOfAnotherLengthIsE02) {
  for (const size_t length : {1u, 31u, 33u, 39u, 41u, 63u, 65u}) {
    EXPECT_EQ(idsAfterGood(std::string(length, 'a')), "E02:8") << length;
    EXPECT_EQ(idsAfterGood(std::string(length, 'a') + ":N:F"), "E02:8") << length;
  }
}

TEST(FileCheck, AKeywordWithoutValueIsE03) {
  EXPECT_EQ(idsAfterGood("SIZE"), "E03:8");
  EXPECT_EQ(idsAfterGood("VERSION"), "E03:8");
  EXPECT_EQ(idsAfterGood("GENERATED"), "E03:8");
  EXPECT_EQ(idsAfterGood("KORVELDB"), "E03:8");
  EXPECT_EQ(ids(check("KORVELDB/1\nVERSION v\nSIZE \n")), "E03:3");
  EXPECT_EQ(ids(check("KORVELDB/1\nVERSION \nSIZE 0\n")), "E03:2");
  EXPECT_EQ(ids(check("KORVELDB/1\nVERSION\nSIZE 0\n")), "E03:2");
  EXPECT_EQ(ids(check("KORVELDB/1\nVERSION v\nGENERATED 12x\n")), "E03:3");
  EXPECT_EQ(ids(check("KORVELDB/1\nVERSION v\nGENERATED 18446744073709551615\n")), "");
  EXPECT_EQ(ids(check("KORVELDB/1\nVERSION v\nGENERATED 18446744073709551616\n")), "E03:3");
}

TEST(FileCheck, AnEmptyThreatNameIsE04) {
  EXPECT_EQ(idsAfterGood(kSha256B + "::F").substr(0, 5), "E04:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + "::F"), "E04:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high::R"), "E04:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":"), "E04:8");
}

TEST(FileCheck, AnUnknownSeverityIsE05) {
  for (const char* word : {"", "clean", "hihg", "3", "severe"}) {
    EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:" + word + ":N:R"), "E05:8") << word;
  }
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:HIGH:N:R"), "");
}

TEST(FileCheck, ALostFieldOrACutReferenceIsE06) {
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high:N:R:seventh"), "E06:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high:N:https://example.org/a"), "E06:8");
  // An empty reference with one colon leaves five fields, which is the short form.
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high:N:"), "E06:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high:N::"), "");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":N:F:x"), "E06:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":N:F:"), "");
}

TEST(FileCheck, AnMd5LineInTheLongFormIsW01) {
  EXPECT_EQ(idsAfterGood(std::string(32, 'f') + ":t:F:critical:N:R"), "W01:8");
  EXPECT_EQ(idsAfterGood(std::string(32, 'f') + ":t:F:critical:N:R:x"), "W01:8");
  EXPECT_EQ(idsAfterGood(std::string(32, 'f') + ":N:F"), "");
}

TEST(FileCheck, ARepeatedDigestIsW02AndNamesTheLineThatWins) {
  const CheckedFile file = check(goodAnd(std::string(64, 'E') + ":Win.Worm.B\n"));
  ASSERT_EQ(ids(file), "W02:8");
  EXPECT_NE(file.findings[0].text.find("line 7"), std::string::npos);
}

TEST(FileCheck, RepeatedDigestsAreFoundInAnyOrder) {
  const std::string text =
      goodAnd(kSha256B + "\n" + kMd5 + ":X\n" + kSha256A + "\n" + kSha256B + "\n" + kSha256B + "\n");
  const CheckedFile file = check(text);
  EXPECT_FALSE(file.ascending);
  EXPECT_EQ(ids(file), "W02:9 W02:11 W02:12");
  EXPECT_NE(file.findings[2].text.find("line 8"), std::string::npos);
}

TEST(FileCheck, AKeywordThatIsRepeatedIsW02AtTheLineThatLoses) {
  EXPECT_EQ(idsAfterGood("VERSION v2"), "W02:2");
  EXPECT_EQ(check(goodAnd("VERSION v2\n")).version, "v2");
}

TEST(FileCheck, ASizeThatDiffersIsW03) {
  EXPECT_EQ(ids(check(kHead + "SIZE 2\n" + kSha256A + "\n")), "W03:4");
  EXPECT_EQ(ids(check(kHead + "SIZE 0\n" + kSha256A + "\n")), "W03:4");
  EXPECT_EQ(ids(check(kHead + "SIZE 1\n" + kSha256A + "\n")), "");
  // Whether a repeated or a lost line was counted is a matter of taste.
  EXPECT_EQ(ids(check(kHead + "SIZE 1\n" + kSha256A + "\n" + kSha256A + "\n")), "W02:6");
  EXPECT_EQ(ids(check(kHead + "SIZE 2\n" + kSha256A + "\n" + kSha256A + "\n")), "W02:6");
  EXPECT_EQ(ids(check(kHead + "SIZE 2\n" + kSha256A + "\nxyz\n")), "E01:6");
}

TEST(FileCheck, AFileWithoutHeaderOrVersionIsW04) {
  EXPECT_EQ(ids(check("VERSION v\n" + kSha256A + "\n")), "W04:0");
  EXPECT_EQ(ids(check("KORVELDB/1\n" + kSha256A + "\n")), "W04:0");
  EXPECT_EQ(ids(check("")), "W04:0 W04:0");
}

TEST(FileCheck, ABlankOrACrInsideAFieldIsW05) {
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":Win Worm:F"), "W05:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ": N:F"), "W05:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":N:F\r\r"), "W05:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":N:F\t"), "W05:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high:N:R "), "W05:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high:N:a source in prose"), "");
}

TEST(FileCheck, NonAsciiIsW07) {
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":\xD0\x98:F"), "W07:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:high:N:\xFF"), "W07:8");
  EXPECT_EQ(ids(check("KORVELDB/1\nVERSION \xD0\x98\n")), "W07:2");
}

TEST(FileCheck, ASeverityBelowMediumIsW08) {
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:low:N:R"), "W08:8");
  EXPECT_EQ(idsAfterGood(std::string(64, 'f') + ":t:F:medium:N:R"), "");
}

TEST(FileCheck, OneLineMoreThanAFeedHoldsIsW09) {
  for (const uint64_t lines : {kMaxFeedLines, kMaxFeedLines + 1}) {
    FileCheck file(/*table=*/nullptr);
    file.feed("KORVELDB/1\nVERSION v\n");
    char digest[66];
    for (uint64_t at = 0; at < lines; ++at) {
      std::snprintf(digest, sizeof digest, "%064llx\n", static_cast<unsigned long long>(at));
      file.feed(std::string_view(digest, 65));
    }
    EXPECT_EQ(ids(file.finish()), lines == kMaxFeedLines ? "" : "W09:0");
  }
}

TEST(FileCheck, PiecesOfAnySizeGiveTheSameFindings) {
  const std::string text =
      goodAnd(kSha256B + "\nxyz\n" + std::string(64, 'f') + "\r\n" + kSha256B + ":N\nSIZE");
  const std::string expected = ids(check(text, text.size()));
  EXPECT_EQ(expected, "E01:9 W02:11 E03:12");
  for (size_t piece = 1; piece < text.size(); ++piece) ASSERT_EQ(ids(check(text, piece)), expected) << piece;
}

TEST(FileCheck, StrictFindsTheFirstLineThatBuildWouldWriteDifferently) {
  const std::string a = kSha256A + "\n";
  const std::string b = kSha256B + "\n";
  EXPECT_EQ(ids(check(kHead + a + b, 7, /*strict=*/true)), "");
  EXPECT_EQ(ids(check(kHead + b + a, 7, /*strict=*/true)), "C01:5");
  EXPECT_EQ(ids(check(kHead + std::string(64, 'A') + "\n", 200, /*strict=*/true)), "C01:4");
  EXPECT_EQ(ids(check(kHead + kSha256A + ":N:F\n", 7, /*strict=*/true)), "C01:4");
  EXPECT_EQ(ids(check(kHead + kSha256A + ":N:F\n", 7, /*strict=*/false)), "");
}

TEST(FileCheck, ALineBeyondTheServicesLimitIsRefusedAsTheServiceDoes) {
  FileCheck file(/*table=*/nullptr);
  const std::string piece(1024 * 1024, 'a');
  EXPECT_THROW(
      {
        for (int at = 0; at < 65; ++at) file.feed(piece);
      },
      std::length_error);
}

TEST(FileCheck, FindingsShowHostileBytesAsPrintableAscii) {
  EXPECT_EQ(inQuotes("a\x1b[2J\\\xff"), "\"a\\x1B[2J\\\\\\xFF\"");
  EXPECT_EQ(inQuotes(std::string(61, 'x')), '"' + std::string(60, 'x') + "...\"");
}

}  // namespace
}  // namespace korvel::sig

#include "korvelsig/signature_input.h"

#include <gtest/gtest.h>

#include <string>

#include "korvelsig_run.h"

namespace korvel::sig {
namespace {

using test::kMd5;
using test::kSha1;
using test::kSha256A;
using test::kSha256B;

const std::string kFactsHead = "digest\tthreat name\tfamily\tseverity\tsource\n";

SignatureInput read(const std::string& text, size_t pieceBytes = 11) {
  SignatureInputReader reader(text.size());
  for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(std::min(pieceBytes, rest.size()))) {
    reader.feed(rest.substr(0, pieceBytes));
  }
  return reader.finish();
}

std::string ids(const SignatureInput& input) {
  std::string text;
  for (const Finding& finding : input.findings) {
    text +=
        (text.empty() ? "" : " ") + std::string(findingName(finding.id)) + ":" + std::to_string(finding.line);
  }
  return text;
}

SignatureMatch found(const SignatureInput& input, const std::string& digest) {
  SignatureMatch match;
  EXPECT_TRUE(input.table.findText(digest, &match)) << digest;
  return match;
}

std::string idsOfFact(const std::string& row) { return ids(read(kFactsHead + row + "\n")); }

TEST(SignatureInput, TheFirstLineThatIsNoCommentDecidesTheForm) {
  EXPECT_EQ(inputFormOf("# c\n\n" + kFactsHead), InputForm::kFacts);
  EXPECT_EQ(inputFormOf("# c\r\nKORVELDB/1\r\n"), InputForm::kDatabase);
  EXPECT_EQ(inputFormOf("VERSION x\n"), InputForm::kDatabase);
  EXPECT_EQ(inputFormOf(kMd5 + ":N\n"), InputForm::kDatabase);
  EXPECT_EQ(inputFormOf(kSha256A + "\n"), InputForm::kHashes);
  EXPECT_EQ(inputFormOf(kSha256A + "  setup.exe\n"), InputForm::kHashes);
  EXPECT_EQ(inputFormOf("# nothing else\n"), InputForm::kDatabase);
}

TEST(SignatureInput, FactsBecomeEntriesOfEveryKind) {
  const SignatureInput input = read(kFactsHead + kSha256A + "\tWin.A\tA\tcritical\tsome source\n" + kMd5 +
                                    "\tWin.B\tB\thigh\tx\r\n" + kSha1 + "\tWin.C\tC\tmedium\tx");
  EXPECT_EQ(ids(input), "");
  EXPECT_EQ(found(input, kSha256A),
            (SignatureMatch{"Win.A", "A", kSeverityCritical, "some source", kSha256A}));
  EXPECT_EQ(found(input, kMd5), (SignatureMatch{"Win.B", "B", kSeverityHigh, "", kMd5}));
  EXPECT_EQ(found(input, kSha1).severity, kSeverityMedium);
}

TEST(SignatureInput, AFactThatCannotBeWrittenIsFound) {
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\tF\thigh"), "E01:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\tF\thigh\tx\ty"), "E01:2");
  EXPECT_EQ(idsOfFact("xyz\tN\tF\thigh\tx"), "E01:2");
  EXPECT_EQ(idsOfFact("abc\tN\tF\thigh\tx"), "E02:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\t\tF\thigh\tx"), "E04:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\t\thigh\tx"), "E04:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\tF\thihg\tx"), "E05:2");
  EXPECT_EQ(idsOfFact(kMd5 + "\tN\tF\tmedium\tx"), "E05:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\tF\thigh\thttps://x"), "E06:2");
  EXPECT_EQ(idsOfFact(kMd5 + "\tN\tSIGNATURE\thigh\tx"), "E06:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\tF\tlow\tx"), "W08:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\tN N\tF\thigh\tx"), "W05:2");
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\xD0\x98\tF\thigh\tx"), "W07:2");
}

TEST(SignatureInput, AFactGivenTwiceIsFound) {
  EXPECT_EQ(idsOfFact(kSha256A + "\tN\tF\thigh\tx\n" + kSha256B + "\tN\tF\thigh\tx\n" + kSha256A +
                      "\tM\tF\thigh\tx"),
            "W02:4");
}

TEST(SignatureInput, AListOfHashesTakesWhatStandsBeforeTheFirstBlank) {
  const SignatureInput input =
      read("# list\n  " + kSha256A + "  setup.exe\n" + kMd5 + "\t*x\n" + kSha1 + "\r\n\n");
  EXPECT_EQ(ids(input), "");
  EXPECT_EQ(input.table.size(), 3u);
  EXPECT_EQ(found(input, kMd5).threatName, "Win.Trojan.Generic");
}

TEST(SignatureInput, AListOfHashesNamesWhatIsNoHash) {
  EXPECT_EQ(ids(read(kSha256A + "\nxyz\nabc\n" + kSha256B.substr(1) + "\n")), "E01:2 E02:3 E02:4");
}

TEST(SignatureInput, AFeedOfMoreThanTheFirstPieceKeepsItsForm) {
  std::string text = kSha256A + "\n";
  while (text.size() < 3 * 1024 * 1024) text += kSha256A + "  name:with:colons\n";
  const SignatureInput input = read(text, 500'000);
  EXPECT_EQ(ids(input), "");
  EXPECT_EQ(input.table.size(), 1u);
  EXPECT_GT(input.entryLines, 30'000u);
}

TEST(SignatureInput, ASignatureFileKeepsItsEntriesWithoutErrors) {
  const SignatureInput input =
      read("KORVELDB/1\nVERSION v\nGENERATED 5\n" + kSha256A + ":t:F:hihg:N:R\n" + kSha256B + ":N:F\n");
  EXPECT_EQ(ids(input), "E05:4");
  EXPECT_EQ(input.version, "v");
  EXPECT_EQ(input.generated, 5u);
  EXPECT_EQ(input.table.size(), 1u);
}

}  // namespace
}  // namespace korvel::sig

#include "remedy/quarantine_index.h"

#include <gtest/gtest.h>

#include <memory>

#include "base/utf.h"

namespace korvel {
namespace {

using Records = std::vector<QuarantineRecord>;

QuarantineRecord someRecord() {
  QuarantineRecord record;
  record.id = 1'731'650'000'123;
  record.originalPath = L"C:\\Users\\u\\Загрузки\\invoice.pdf.exe";
  record.storedPath = L"C:\\Q\\1731650000_3fa9c1d2e4b5a6f7_invoice.pdf.exe";
  record.name = L"invoice.pdf.exe";
  record.sha256 = "3fa9c1d2e4b5a6f70123";
  record.threat = "Троян = Win32";
  record.code = "SIG.MATCH";
  record.severity = kSeverityCritical;
  record.size = 1024;
  record.time = 1'731'650'000;
  return record;
}

constexpr char kOneRecord[] =
    "KORVELQUARANTINE/1\n"
    "ID=1731650000123\n"
    "ORIG=C:\\Users\\u\\Загрузки\\invoice.pdf.exe\n"
    "STORED=C:\\Q\\1731650000_3fa9c1d2e4b5a6f7_invoice.pdf.exe\n"
    "NAME=invoice.pdf.exe\n"
    "SHA256=3fa9c1d2e4b5a6f70123\n"
    "THREAT=Троян = Win32\n"
    "CODE=SIG.MATCH\n"
    "SEV=critical\n"
    "SIZE=1024\n"
    "TIME=1731650000\n"
    "\n";

QuarantineRecord only(std::string_view text) {
  const Records records = parseQuarantineIndex(text);
  EXPECT_EQ(records.size(), 1u) << text;
  return records.empty() ? QuarantineRecord() : records.front();
}

// --- writing ---

TEST(FormatQuarantineIndex, WritesTheHeaderAloneForAnEmptyList) {
  EXPECT_EQ(formatQuarantineIndex({}), "KORVELQUARANTINE/1\n");
}

TEST(FormatQuarantineIndex, WritesTenLinesAndAnEmptyOneForARecord) {
  EXPECT_EQ(formatQuarantineIndex({someRecord()}), kOneRecord);
}

TEST(FormatQuarantineIndex, DoesNotWriteWhetherTheFileIsThere) {
  QuarantineRecord record = someRecord();
  record.storedFileExists = true;
  EXPECT_EQ(formatQuarantineIndex({record}), kOneRecord);
}

TEST(FormatQuarantineIndex, KeepsTheOrderOfTheList) {
  QuarantineRecord second = someRecord();
  second.id = 5;
  const std::string text = formatQuarantineIndex({second, someRecord()});
  EXPECT_LT(text.find("ID=5\n"), text.find("ID=1731650000123\n"));
}

TEST(FormatQuarantineIndex, NamesEverySeverity) {
  constexpr std::pair<Severity, const char*> kNames[] = {
      {0, "clean"}, {1, "low"}, {2, "medium"}, {3, "high"}, {4, "critical"}, {5, "unknown"}, {-1, "unknown"}};
  for (const auto& [severity, name] : kNames) {
    QuarantineRecord record = someRecord();
    record.severity = severity;
    EXPECT_NE(formatQuarantineIndex({record}).find("\nSEV=" + std::string(name) + "\n"), std::string::npos)
        << name;
  }
}

// --- reading ---

TEST(ParseQuarantineIndex, ReadsEveryField) { EXPECT_EQ(only(kOneRecord), someRecord()); }

TEST(ParseQuarantineIndex, ReadsSeveralBlocksInOrder) {
  QuarantineRecord second = someRecord();
  second.id = 5;
  second.severity = kSeverityClean;
  second.size = UINT64_MAX;
  const Records records = {someRecord(), second, someRecord()};
  EXPECT_EQ(parseQuarantineIndex(formatQuarantineIndex(records)), records);
}

TEST(ParseQuarantineIndex, AHeaderAloneAndAnEmptyTextListNothing) {
  EXPECT_TRUE(parseQuarantineIndex("KORVELQUARANTINE/1\n").empty());
  EXPECT_TRUE(parseQuarantineIndex("").empty());
  EXPECT_TRUE(parseQuarantineIndex("\n\n\n").empty());
}

TEST(ParseQuarantineIndex, DoesNotCheckTheHeader) {
  EXPECT_EQ(only("SOMETHING ELSE\nID=1\n").id, 1u);
  EXPECT_EQ(only("ID=1\n").id, 1u);
}

TEST(ParseQuarantineIndex, ABlockStartsWithoutTextsAndWithSeverityHigh) {
  QuarantineRecord expected;
  expected.id = 1;
  expected.severity = kSeverityHigh;
  EXPECT_EQ(only("ID=1"), expected);
}

TEST(ParseQuarantineIndex, DropsBlocksWithoutAnId) {
  EXPECT_TRUE(parseQuarantineIndex("ID=0\nNAME=a\n\n").empty());
  EXPECT_TRUE(parseQuarantineIndex("ID=\nNAME=a\n\n").empty());
  EXPECT_TRUE(parseQuarantineIndex("ID=x1\nNAME=a\n\n").empty());
  EXPECT_TRUE(parseQuarantineIndex("NAME=a\nORIG=b\n\n").empty());
  EXPECT_EQ(only("ID=0\nNAME=a\n\nID=2\nNAME=b\n\nID=0\n").name, L"b");
}

TEST(ParseQuarantineIndex, AnIdOfZeroDisappearsOnTheNextWrite) {
  EXPECT_EQ(formatQuarantineIndex(parseQuarantineIndex("ID=0\nNAME=a\n")), "KORVELQUARANTINE/1\n");
}

TEST(ParseQuarantineIndex, FieldsBeforeTheIdAreLost) {
  const QuarantineRecord record = only("NAME=lost\nSIZE=7\nSEV=low\nID=1\nTHREAT=kept\n");
  EXPECT_EQ(record.name, L"");
  EXPECT_EQ(record.size, 0u);
  EXPECT_EQ(record.severity, kSeverityHigh);
  EXPECT_EQ(record.threat, "kept");
}

TEST(ParseQuarantineIndex, FieldsOfAZeroBlockDoNotLeakIntoTheNext) {
  EXPECT_EQ(only("ID=0\nNAME=lost\nID=1\n").name, L"");
}

TEST(ParseQuarantineIndex, FieldsMayStandInAnyOrderAndWithoutEmptyLines) {
  const QuarantineRecord record = only("ID=1\nTIME=4\nSEV=low\n\n\nORIG=C:\\a\nTIME=5");
  EXPECT_EQ(record.time, 5u);
  EXPECT_EQ(record.severity, kSeverityLow);
  EXPECT_EQ(record.originalPath, L"C:\\a");
}

TEST(ParseQuarantineIndex, SplitsAtTheFirstEqualsSignAndTrimsNothing) {
  const QuarantineRecord record = only("ID=1\nTHREAT== a=b \nNAME=x=y.exe\nCODE=c\r\n");
  EXPECT_EQ(record.threat, "= a=b ");
  EXPECT_EQ(record.name, L"x=y.exe");
  EXPECT_EQ(record.code, "c\r");
}

TEST(ParseQuarantineIndex, KeysMatchExactly) {
  const QuarantineRecord record = only("ID=1\nid=2\n ID=3\nName=a\nNAME =b\nTHREATS=c\n=d\nID2=4\n");
  QuarantineRecord expected;
  expected.id = 1;
  EXPECT_EQ(record, expected);
}

TEST(ParseQuarantineIndex, NumbersStopAtTheFirstNonDigit) {
  const QuarantineRecord record = only("ID=12abc\nSIZE=\nTIME=99999999999999999999\n");
  EXPECT_EQ(record.id, 12u);
  EXPECT_EQ(record.size, 0u);
  EXPECT_EQ(record.time, UINT64_MAX);
}

TEST(ParseQuarantineIndex, ABlankOrASignBeforeANumberMakesItZero) {
  const QuarantineRecord record = only("ID=1\nSIZE= 5\nTIME=+5\n");
  EXPECT_EQ(record.size, 0u);
  EXPECT_EQ(record.time, 0u);
  EXPECT_TRUE(parseQuarantineIndex("ID=-1\nNAME=a\nID=\t2\nNAME=b\n").empty());
}

TEST(ParseQuarantineIndex, SeverityNamesHaveAnyCaseAndUnknownOnesAreClean) {
  EXPECT_EQ(only("ID=1\nSEV=MeDiUm\n").severity, kSeverityMedium);
  EXPECT_EQ(only("ID=1\nSEV=clean\n").severity, kSeverityClean);
  EXPECT_EQ(only("ID=1\nSEV=unknown\n").severity, kSeverityClean);
  EXPECT_EQ(only("ID=1\nSEV=\n").severity, kSeverityClean);
}

// Nothing is escaped, so a line feed in a value tears its block: the rest of the value becomes a line.
TEST(ParseQuarantineIndex, ALineFeedInAValueBreaksItsBlockAndNoOther) {
  QuarantineRecord broken = someRecord();
  broken.threat = "a\nID=7\nb";
  const Records records = parseQuarantineIndex(formatQuarantineIndex({broken, someRecord()}));
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].threat, "a");
  EXPECT_EQ(records[1].id, 7u);
  EXPECT_EQ(records[2], someRecord());
}

// Each prefix in a heap block of its own, so that a sanitizer sees one byte too many.
TEST(ParseQuarantineIndex, EveryPrefixOfAnIndexReads) {
  const std::string text = formatQuarantineIndex({someRecord(), someRecord()});
  for (size_t size = 0; size <= text.size(); ++size) {
    const std::unique_ptr<char[]> block(new char[size]);
    text.copy(block.get(), size);
    EXPECT_LE(parseQuarantineIndex(std::string_view(block.get(), size)).size(), 2u);
  }
}

// --- names ---

TEST(QuarantinedFileName, HoldsTimeTheFirstSixteenCharactersOfTheHashAndTheName) {
  EXPECT_EQ(quarantinedFileName(1'731'650'000, "3fa9c1d2e4b5a6f70123456789", L"invoice.pdf.exe"),
            L"1731650000_3fa9c1d2e4b5a6f7_invoice.pdf.exe");
  EXPECT_EQ(quarantinedFileName(5, "0123456789abcdef", L"a"), L"5_0123456789abcdef_a");
}

TEST(QuarantinedFileName, DoesNotLeaveTheFolderWhateverTheHash) {
  EXPECT_EQ(quarantinedFileName(5, "\\..\\..\\", L"a"), L"5__.._..__a");
  EXPECT_EQ(quarantinedFileName(5, "/../c:<>\"|?*", L"a"), L"5__.._c________a");
  EXPECT_EQ(quarantinedFileName(5, std::string("a\0b\n\x1F\x7F", 6), L"a"), L"5_a_b__\x7F_a");
  EXPECT_EQ(quarantinedFileName(5, "..", L"a"), L"5_.._a");
  EXPECT_EQ(quarantinedFileName(5, "хэш", L"a"), toWide("5_хэш_a"));
}

TEST(QuarantineRecordPath, HasBlanksForControlCharacters) {
  EXPECT_EQ(recordPath(std::wstring(L"C:\\a\nID=7\r\t\0\x1F \x7Fж\\b.exe", 22)),
            L"C:\\a ID=7     \x7Fж\\b.exe");
}

TEST(QuarantineRecordText, HasBlanksForControlCharacters) {
  EXPECT_EQ(recordText(std::string("a\0b\nID=7\r\t\x1F\x7F", 12)), "a b ID=7   \x7F");
  EXPECT_EQ(recordText("Троян = Win32"), "Троян = Win32");
  EXPECT_EQ(recordText(""), "");
}

TEST(QuarantinedFileName, TakesAShorterHashWhole) {
  EXPECT_EQ(quarantinedFileName(5, "0123456789abcde", L"a"), L"5_0123456789abcde_a");
  EXPECT_EQ(quarantinedFileName(0, "", L""), L"0__");
}

}  // namespace
}  // namespace korvel

#include "signatures/signature_text.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <random>
#include <stdexcept>

#include "signatures/signature_reference.h"

namespace korvel {
namespace {

using test::firstDifference;
using test::ReferenceEntry;
using test::ReferenceFile;
using test::referenceParse;

const std::string kMd5 = "0123456789abcdef0123456789abcdef";
const std::string kSha1 = kMd5 + "01234567";
const std::string kSha256 = kMd5 + kMd5;

std::optional<ReferenceEntry> entryOf(const SignatureTable& table, const std::string& hash) {
  hash::Digest digest;
  SignatureFields fields;
  if (!digest.parse(hash) || !table.fields(digest.bytes(), fields)) return std::nullopt;
  return ReferenceEntry{std::string(fields.tag), std::string(fields.threatName), std::string(fields.family),
                        std::string(fields.reference), fields.severity};
}

/// What the only line of a file makes of `hash`.
std::optional<ReferenceEntry> lineEntry(const std::string& line, const std::string& hash) {
  return entryOf(parseSignatureText(line + "\n").table, hash);
}

size_t entriesIn(const std::string& text) { return parseSignatureText(text).table.size(); }

const ReferenceEntry kGeneric{"", "Win.Trojan.Generic", "Win.Trojan.Generic", "", 3};

TEST(SignatureLine, ABareDigestOfEachKindTakesTheGenericName) {
  for (const std::string& hash : {kMd5, kSha1, kSha256}) EXPECT_EQ(lineEntry(hash, hash), kGeneric) << hash;
}

TEST(SignatureLine, AnInvalidDigestIsSkippedWithAnyNumberOfFields) {
  for (const size_t length : {0u, 4u, 31u, 33u, 39u, 41u, 63u, 65u, 128u}) {
    const std::string hex(length, 'a');
    for (const char* rest : {"", ":", ":N", ":T:F:high:N:R"})
      EXPECT_EQ(entriesIn(hex + rest + "\n"), 0u) << hex << rest;
  }
  for (const std::string& hash : {kMd5, kSha1, kSha256}) {
    for (const char wrong : {'g', 'G', ' ', '/', '@', '`', '\r', '\0'}) {
      std::string broken = hash;
      broken[broken.size() / 2] = wrong;
      EXPECT_EQ(entriesIn(broken + "\n"), 0u);
      EXPECT_EQ(entriesIn(broken + ":N\n"), 0u);
    }
    EXPECT_EQ(entriesIn(" " + hash + "\n"), 0u);
    EXPECT_EQ(entriesIn(hash + " \n"), 0u);
  }
}

TEST(SignatureLine, ShortFormWithTwoToFiveFieldsForEveryKind) {
  for (const std::string& hash : {kMd5, kSha1, kSha256}) {
    EXPECT_EQ(lineEntry(hash + ":N", hash), (ReferenceEntry{"", "N", "N", "", 3}));
    EXPECT_EQ(lineEntry(hash + ":N:F", hash), (ReferenceEntry{"", "N", "F", "", 3}));
    EXPECT_EQ(lineEntry(hash + ":N:F:critical", hash), (ReferenceEntry{"", "N", "F", "", 3}));
    EXPECT_EQ(lineEntry(hash + ":N:F:critical:X", hash), (ReferenceEntry{"", "N", "F", "", 3}));
  }
}

TEST(SignatureLine, AnMd5LineStaysShortWithSixFieldsAndMore) {
  EXPECT_EQ(lineEntry(kMd5 + ":T:F:critical:N:R", kMd5), (ReferenceEntry{"", "T", "F", "", 3}));
  EXPECT_EQ(lineEntry(kMd5 + ":T:SIGNATURE:critical:N:R:X:Y", kMd5), (ReferenceEntry{"", "T", "T", "", 3}));
}

TEST(SignatureLine, LongFormForTheOtherKinds) {
  for (const std::string& hash : {kSha1, kSha256}) {
    EXPECT_EQ(lineEntry(hash + ":T:F:critical:N:R", hash), (ReferenceEntry{"T", "N", "F", "R", 4}));
    EXPECT_EQ(lineEntry(hash + ":T:F:critical:N:R:more:fields", hash),
              (ReferenceEntry{"T", "N", "F", "R", 4}));
    EXPECT_EQ(lineEntry(hash + ":T:SIGNATURE:low:N:R", hash),
              (ReferenceEntry{"T", "N", "SIGNATURE", "R", 1}));
    EXPECT_EQ(lineEntry(hash + ":::::R", hash), (ReferenceEntry{"", "", "", "R", 0}));
  }
}

TEST(SignatureLine, LongFormReadsTheSeverityName) {
  const std::pair<const char*, int> words[] = {{"low", 1},   {"MEDIUM", 2}, {"High", 3},  {"critical", 4},
                                               {"clean", 0}, {"", 0},       {" high", 0}, {"deadly", 0}};
  for (const auto& [word, severity] : words) {
    EXPECT_EQ(lineEntry(kSha256 + ":T:F:" + word + ":N:R", kSha256)->severity, severity) << word;
  }
}

TEST(SignatureLine, OnlyTheExactWordSignatureIsNoFamily) {
  EXPECT_EQ(lineEntry(kMd5 + ":N:SIGNATURE", kMd5)->family, "N");
  for (const char* family : {"signature", "SIGNATURE ", " SIGNATURE", "SIGNATURES", "SIGNATUR"}) {
    EXPECT_EQ(lineEntry(kMd5 + ":N:" + family, kMd5)->family, family);
  }
}

TEST(SignatureLine, AColonAtTheEndAddsNoField) {
  EXPECT_EQ(lineEntry(kSha256 + ":", kSha256), kGeneric);
  EXPECT_EQ(lineEntry(kSha256 + "::", kSha256), (ReferenceEntry{"", "", "", "", 3}));
  EXPECT_EQ(lineEntry(kSha256 + ":N:", kSha256), (ReferenceEntry{"", "N", "N", "", 3}));
  EXPECT_EQ(lineEntry(kSha256 + ":N::", kSha256), (ReferenceEntry{"", "N", "", "", 3}));
  // Five colons, five fields: still the short form. One more field makes it the long one.
  EXPECT_EQ(lineEntry(kSha256 + ":A:B:high:D:", kSha256), (ReferenceEntry{"", "A", "B", "", 3}));
  EXPECT_EQ(lineEntry(kSha256 + ":A:B:low:D::", kSha256), (ReferenceEntry{"A", "D", "B", "", 1}));
  EXPECT_EQ(entriesIn(":\n::\n:" + kSha256 + "\n"), 0u);
}

TEST(SignatureLine, FieldsAreTakenVerbatim) {
  EXPECT_EQ(lineEntry(kSha256 + ": a  b\t:  ", kSha256), (ReferenceEntry{"", " a  b\t", "  ", "", 3}));
  const std::string withNul = std::string("N\0M", 3);
  EXPECT_EQ(lineEntry(kSha256 + ":" + withNul, kSha256)->threatName, withNul);
}

TEST(SignatureLine, AReferenceIsCutAtItsColon) {
  EXPECT_EQ(lineEntry(kSha256 + ":T:F:high:N:https://host/x", kSha256)->reference, "https");
}

TEST(SignatureFileText, UpperCaseDigestsAreStoredLowerCase) {
  const std::string upper = "ABCDEF0123456789ABCDEF0123456789";
  SignatureMatch match;
  ASSERT_TRUE(parseSignatureText(upper + ":N\n").table.findText(upper, &match));
  EXPECT_EQ(match.hash, "abcdef0123456789abcdef0123456789");
}

TEST(SignatureFileText, CommentsHeaderAndSizeAreIgnored) {
  EXPECT_EQ(entriesIn("\n\r\n#" + kMd5 + "\n#\nKORVELDB/1\nKORVELDB/\nKORVELDB/" + kMd5 +
                      "\nSIZE 77\nSIZE \nSIZE " + kMd5 + "\n"),
            0u);
  EXPECT_EQ(entriesIn("SIZE 5\n" + kMd5 + "\n"), 1u) << "a wrong number has no effect";
  EXPECT_EQ(entriesIn(" #" + kMd5 + "\n" + kSha1 + "\n"), 1u);
}

TEST(SignatureFileText, KeysNeedTheirBlankAndTheirCase) {
  const SignatureFile file = parseSignatureText(
      "VERSION\nVERSION\t1\nversion 2\n VERSION 3\nGENERATED\nGENERATED\t5\ngenerated 6\nSIZE\n");
  EXPECT_EQ(file.version, "");
  EXPECT_EQ(file.generated, 0u);
  EXPECT_TRUE(file.table.empty());
}

TEST(SignatureFileText, TheVersionIsTheRestOfTheLastLineVerbatim) {
  EXPECT_EQ(parseSignatureText("VERSION  a b \r\n").version, " a b ");
  EXPECT_EQ(parseSignatureText("VERSION one\nVERSION two\n").version, "two");
  EXPECT_EQ(parseSignatureText("VERSION one\nVERSION \n").version, "");
  EXPECT_EQ(parseSignatureText("VERSION no line feed").version, "no line feed");
}

TEST(SignatureFileText, TheGenerationTimeIsReadAsStrtoullDoes) {
  const auto generated = [](const std::string& text) {
    return parseSignatureText("GENERATED " + text + "\n").generated;
  };
  EXPECT_EQ(generated("1794787200"), 1794787200u);
  EXPECT_EQ(generated("  \t12abc"), 12u);
  EXPECT_EQ(generated("abc"), 0u);
  EXPECT_EQ(generated(""), 0u);
  EXPECT_EQ(generated("18446744073709551615"), UINT64_MAX);
  EXPECT_EQ(generated("18446744073709551616"), UINT64_MAX);
  EXPECT_EQ(parseSignatureText("GENERATED 5\nGENERATED 7\n").generated, 7u);
  EXPECT_EQ(parseSignatureText("GENERATED 5\nGENERATED x\n").generated, 0u);
}

TEST(SignatureFileText, ACrlfFileReadsLikeAnLfFile) {
  const SignatureFile file =
      parseSignatureText("VERSION v\r\nGENERATED 3\r\n" + kSha256 + "\r\n" + kMd5 + ":N:F\r\n");
  EXPECT_EQ(file.version, "v");
  EXPECT_EQ(file.generated, 3u);
  EXPECT_EQ(entryOf(file.table, kSha256), kGeneric);
  EXPECT_EQ(entryOf(file.table, kMd5)->family, "F");
}

TEST(SignatureFileText, ExactlyOneCarriageReturnIsRemoved) {
  EXPECT_EQ(lineEntry(kMd5 + ":N:F\r\r", kMd5)->family, "F\r");
  EXPECT_EQ(entriesIn(kSha256 + "\r\r\n"), 0u);
  EXPECT_EQ(entriesIn(kSha256 + "\r"), 1u) << "also from the last line";
  EXPECT_EQ(entriesIn(kMd5 + "\r" + kMd5 + "\n"), 0u) << "a CR alone ends no line";
}

TEST(SignatureFileText, TheFirstEntryOfADigestStays) {
  const std::string upper = "0123456789ABCDEF0123456789ABCDEF";
  const SignatureFile file = parseSignatureText(kMd5 + ":first\n" + upper + ":second:family\n" + kMd5 + "\n");
  EXPECT_EQ(file.table.size(), 1u);
  EXPECT_EQ(entryOf(file.table, kMd5)->threatName, "first");
  // Also when the later one would win a merge, and when another digest lies between.
  EXPECT_EQ(
      entryOf(parseSignatureText(kSha256 + "\n" + kMd5 + "\n" + kSha256 + ":T:F:low:N:R\n").table, kSha256),
      kGeneric);
}

TEST(SignatureFileText, AFileWithoutEntriesIsEmpty) {
  for (const char* text : {"", "\n", "# only a comment\nKORVELDB/1\nVERSION x\nGENERATED 1\nSIZE 0\n"}) {
    EXPECT_TRUE(parseSignatureText(text).table.empty()) << text;
  }
}

TEST(SignatureFileText, AByteOrderMarkSpoilsOnlyItsLine) {
  EXPECT_EQ(entriesIn("\xEF\xBB\xBF" + kMd5 + "\n" + kSha1 + "\n"), 1u);
}

std::string sampleFile() {
  return "# sample\r\nKORVELDB/1\nVERSION v 1\nGENERATED 42\nSIZE 4\n" + kSha256 + "\n" + kSha256.substr(1) +
         "0\r\n" + kMd5 + ":N:SIGNATURE\n" + kSha1 + ":T:F:low:N:R:x\nVERSION\n" + kMd5 + kMd5.substr(1) +
         "1";
}

TEST(SignatureFileParser, EveryPrefixReadsAsTheReferenceDoes) {
  const std::string text = sampleFile();
  for (size_t length = 0; length <= text.size(); ++length) {
    const auto block = std::make_unique<char[]>(length);
    text.copy(block.get(), length);
    const SignatureFile file = parseSignatureText({block.get(), length});
    const ReferenceFile expected = referenceParse(text.substr(0, length));
    ASSERT_EQ(firstDifference(file.table, expected.entries), "") << length;
    ASSERT_EQ(file.version, expected.version) << length;
    ASSERT_EQ(file.generated, expected.generated) << length;
  }
}

TEST(SignatureFileParser, EverySplitIntoTwoPiecesAndIntoSingleBytesReadsTheSame) {
  const std::string text = sampleFile();
  const ReferenceFile expected = referenceParse(text);
  for (size_t cut = 0; cut <= text.size(); ++cut) {
    SignatureFileParser parser(0);
    parser.feed(std::string(text, 0, cut));
    parser.feed(std::string(text, cut));
    const SignatureFile file = parser.finish();
    ASSERT_EQ(firstDifference(file.table, expected.entries), "") << cut;
    ASSERT_EQ(file.version, expected.version) << cut;
  }
  SignatureFileParser parser(1u << 30);
  for (const char c : text) parser.feed({&c, 1});
  EXPECT_EQ(firstDifference(parser.finish().table, expected.entries), "");
}

TEST(SignatureFileParser, EndlessLinesThatDoNotMatterAreSkippedWithoutBeingKept) {
  const std::string megabyte(1u << 20, 'x');
  for (const std::string& beginning : {std::string("#"), std::string("KORVELDB/"), std::string("SIZE "),
                                       std::string("junk:"), kSha256.substr(1) + ":", std::string()}) {
    SignatureFileParser parser(0);
    parser.feed(kMd5 + "\n" + beginning);
    for (int piece = 0; piece < 100; ++piece) parser.feed(megabyte);  // beyond what would be kept
    parser.feed("\n" + kSha1 + "\n");
    EXPECT_EQ(parser.finish().table.size(), 2u) << beginning;
  }
}

TEST(SignatureFileParser, TheRestOfASkippedLineIsNoLineOfItsOwn) {
  for (const size_t length : {65'535u, 65'536u, 65'537u, 131'072u}) {
    SignatureFileParser parser(0);
    parser.feed("#" + std::string(length - 1, 'x'));
    parser.feed(kMd5 + "\n" + kSha1 + "\n");
    EXPECT_EQ(parser.finish().table.size(), 1u) << length;
  }
}

TEST(SignatureFileParser, TheLinesBehindASkippedOneAreReadInEveryPiece) {
  SignatureFileParser parser(0);
  parser.feed("#" + std::string(100'000, 'x'));
  parser.feed("x\n" + kMd5 + "\n");
  parser.feed(kSha1 + "\n");
  EXPECT_EQ(parser.finish().table.size(), 2u);
}

TEST(SignatureFileParser, LongLinesThatMatterAreReadWhole) {
  const std::string name(300'000, 'n');
  for (const size_t pieceBytes : {1000u, 65536u, 100000u, 1000000u}) {
    const std::string text = kSha256 + ":T:F:high:" + name + ":R\nVERSION " + name + "\n" + kMd5 + "\n";
    SignatureFileParser parser(text.size());
    for (size_t at = 0; at < text.size(); at += pieceBytes)
      parser.feed(std::string_view(text).substr(at, pieceBytes));
    const SignatureFile file = parser.finish();
    EXPECT_EQ(file.version, name);
    EXPECT_EQ(file.table.size(), 2u);
    EXPECT_EQ(entryOf(file.table, kSha256)->threatName, name);
  }
}

TEST(SignatureFileParser, AnEndlessLineThatMattersFails) {
  const std::string megabyte(1u << 20, 'x');
  for (const std::string& beginning : {std::string("VERSION "), kSha256 + ":"}) {
    SignatureFileParser parser(0);
    parser.feed(beginning);
    for (int piece = 0; piece < 63; ++piece) parser.feed(megabyte);
    parser.feed(std::string_view(megabyte).substr(beginning.size()));  // exactly the limit
    EXPECT_THROW(parser.feed("x"), std::length_error);
  }
}

/// Files made of everything the format knows and of everything that nearly is it, with few digests, so that
/// they repeat.
class RandomFile {
 public:
  explicit RandomFile(unsigned seed) : random_(seed) {}

  std::string text() {
    std::string text;
    for (size_t lines = pick(40); lines > 0; --lines) text += line() + end();
    return text;
  }

  std::string digest() {
    static constexpr size_t kLengths[] = {32, 40, 64, 32, 40, 64, 64, 31, 63, 66};
    std::string hex(kLengths[pick(std::size(kLengths))], '0');
    hex.front() = "0123456789abcdefABCDEF"[pick(22)];
    hex.back() = "0a1bAB"[pick(6)];
    if (pick(30) == 0) hex[pick(hex.size())] = 'g';
    return hex;
  }

  size_t pick(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(random_); }

 private:
  std::string line() {
    static const char* const kOther[] = {"",          "#",
                                         "# text",    "KORVELDB/1",
                                         "VERSION ",  "VERSION a b",
                                         "VERSION",   "GENERATED 12",
                                         "GENERATED", "GENERATED -1",
                                         "SIZE 3",    "SIZE",
                                         ":",         "junk"};
    if (pick(4) == 0) return kOther[pick(std::size(kOther))];
    static const char* const kWords[] = {"",      "N",    "SIGNATURE", "signature", "Win.Trojan.Generic",
                                         "F\r",   "high", "LOW",       "critical",  " low",
                                         "https", "R"};
    std::string text = digest();
    for (size_t fields = pick(9); fields > 0; --fields)
      text += std::string(":") + kWords[pick(std::size(kWords))];
    return text;
  }

  std::string end() {
    static const char* const kEnds[] = {"\n", "\n", "\n", "\r\n", "\r\r\n", "\n\n", "\r"};
    return kEnds[pick(std::size(kEnds))];
  }

  std::mt19937 random_;
};

constexpr unsigned kRandomFiles = 300;  // the fuzz targets go further

TEST(SignatureFileParser, RandomFilesReadAsTheReferenceDoes) {
  for (unsigned seed = 0; seed < kRandomFiles; ++seed) {
    RandomFile random(seed);
    const std::string text = random.text();
    SignatureFileParser parser(random.pick(10'000));
    for (std::string_view rest = text; !rest.empty();) {
      const std::string piece(rest.substr(0, 1 + random.pick(100)));
      parser.feed(piece);
      rest.remove_prefix(piece.size());
    }
    const SignatureFile file = parser.finish();
    const ReferenceFile expected = referenceParse(text);
    ASSERT_EQ(firstDifference(file.table, expected.entries), "") << "seed " << seed << "\n" << text;
    ASSERT_EQ(file.version, expected.version) << seed;
    ASSERT_EQ(file.generated, expected.generated) << seed;
  }
}

TEST(SignatureMerge, RandomSequencesOfFilesMergeAsTheReferenceDoes) {
  for (unsigned seed = 0; seed < kRandomFiles; ++seed) {
    RandomFile random(seed + 100'000);
    SignatureTable table = parseSignatureText("").table;
    std::map<std::string, ReferenceEntry> held;
    for (size_t files = 1 + random.pick(4); files > 0; --files) {
      const std::string text = random.text();
      table = mergedTable(parseSignatureText(text).table, table);
      referenceMerge(held, referenceParse(text));
      ASSERT_EQ(firstDifference(table, held), "") << "seed " << seed;
    }
    for (int probes = 0; probes < 20; ++probes) {
      const std::string digest = random.digest();
      ASSERT_EQ(table.findText(digest, nullptr), held.contains(test::referenceLower(digest))) << digest;
    }
  }
}

TEST(SignatureMerge, LargeTablesOfManyRecordsMergeAsTheReferenceDoes) {
  std::mt19937_64 random(5);
  const auto text = [&random](size_t lines, unsigned digests) {
    std::string result;
    for (size_t line = 0; line < lines; ++line) {
      char digest[65];
      std::snprintf(digest, sizeof digest, "%016llx%048llx",
                    static_cast<unsigned long long>(random() % digests * 0x9E3779B97F4A7C15u),
                    static_cast<unsigned long long>(random() % 3));
      result += std::string(digest) + ":t:" + (random() % 2 ? "" : "f") + ":low:n" +
                std::to_string(random() % 700) + ":" + (random() % 2 ? "" : "r") + "\n";
    }
    return result;
  };
  // More records than one byte counts on one side, on the other, and on both.
  for (const auto& [older, newer] : {std::pair(3000, 20), std::pair(20, 3000), std::pair(3000, 3000)}) {
    const std::string first = text(static_cast<size_t>(older), 1500);
    const std::string second = text(static_cast<size_t>(newer), 1500);
    const SignatureTable table =
        mergedTable(parseSignatureText(second).table, parseSignatureText(first).table);
    std::map<std::string, ReferenceEntry> held = referenceParse(first).entries;
    referenceMerge(held, referenceParse(second));
    EXPECT_EQ(firstDifference(table, held), "");
  }
}

}  // namespace
}  // namespace korvel

// korvelsig's reading of a million random lines against the service's own reader, and against what a line
// seems to say: a line without a finding is read as it is written, and every other line has one.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "korvelsig/canonical_text.h"
#include "korvelsig/file_check.h"
#include "korvelsig/merge_story.h"
#include "korvelsig/signature_line.h"
#include "signatures/signature_text.h"

namespace korvel::sig {
namespace {

constexpr size_t kFiles = 1'000;
constexpr size_t kLinesOfFile = 1'000;

class RandomLines {
 public:
  explicit RandomLines(uint64_t seed) : random_(seed) {}

  size_t below(size_t limit) { return static_cast<size_t>(random_() % limit); }

  std::string line() {
    switch (below(16)) {
      case 0:
        return oneOf({"VERSION", "SIZE", "GENERATED", "KORVELDB", "KORVELDB/", "#", "version"}) +
               oneOf({"", " ", "  ", "/1", " v1", " 12", " 12x", " -1", ":", "\r"}) + end();
      case 1:
        return noise() + end();
      default:
        return entry() + end();
    }
  }

 private:
  std::string oneOf(std::initializer_list<const char*> texts) { return texts.begin()[below(texts.size())]; }
  std::string end() { return below(12) == 0 ? oneOf({"\r", "\r\r", " ", ":", "::", ":\r"}) : ""; }

  std::string noise() {
    std::string text;
    for (size_t left = below(80); left > 0; --left) {
      text +=
          below(4) == 0 ? static_cast<char>(random_()) : oneOf({":", "a", "F", "0", " ", "\r", "#", "g"})[0];
      if (text.back() == '\n') text.back() = '\t';
    }
    return text;
  }

  /// Few digests, so that they repeat; now and then one that is none.
  std::string digest() {
    const size_t lengths[] = {64, 64, 64, 40, 40, 32, 32, 63, 65, 31, 33, 4, 0};
    const size_t length = lengths[below(below(4) == 0 ? std::size(lengths) : 7)];
    std::string text(length, "0aF"[below(3)]);
    if (length > 0) text[below(length)] = "123456789abcdefABCDEF"[below(21)];
    if (length > 0 && below(40) == 0) text[below(length)] = "gG :/@`"[below(7)];
    return text;
  }

  std::string entry() {
    std::string text = digest();
    for (size_t left = below(3) == 0 ? 5 : below(8); left > 0; --left) text += ":" + field();
    return text;
  }

  std::string field() {
    return oneOf({"",           "tag",  "Family",   "SIGNATURE",     "signature", "low",
                  "medium",     "HIGH", "critical", "clean",         "high ",     "Win.Trojan.Generic",
                  "Win.Worm.X", "a b",  " a",       "example.org/x", "https",     "//x",
                  "\xD0\x98",   "c\r",  "d\t",      "Win.Ransom.Y"});
  }

  std::mt19937_64 random_;
};

std::vector<std::string> plainFields(std::string_view text) {
  std::vector<std::string> fields(1);
  for (const char c : text) {
    if (c == ':') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  return fields;
}

/// What the author of an entry line must have meant, or nothing when no plain reading exists.
std::optional<StoryEntry> plainMeaning(std::string_view text) {
  std::vector<std::string> f = plainFields(text);
  if (f.size() > 1 && f.back().empty()) f.pop_back();  // one colon at the end is allowed for
  const std::string generic = "Win.Trojan.Generic";
  if (f.size() == 1) {
    if (text.ends_with(':')) return std::nullopt;
    return StoryEntry{"", generic, generic, "", kSeverityHigh};
  }
  if (f.size() == 2) return StoryEntry{"", f[1], f[1], "", kSeverityHigh};
  if (f.size() == 3) return StoryEntry{"", f[1], f[2] == "SIGNATURE" ? f[1] : f[2], "", kSeverityHigh};
  if (f.size() != 6 || f[0].size() == 32) return std::nullopt;
  return StoryEntry{f[1], f[4], f[2], f[5], parseSeverity(f[3])};
}

bool hasOddBytes(const StoryEntry& entry) {
  for (const std::string& field : {entry.tag, entry.family, entry.threatName}) {
    for (const char c : field) {
      if (static_cast<unsigned char>(c) <= 0x20 || static_cast<unsigned char>(c) >= 0x7F) return true;
    }
  }
  for (const char c : entry.reference) {
    if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7F) return true;
  }
  return entry.reference.starts_with(' ') || entry.reference.ends_with(' ');
}

/// The reading of single lines put together by the rules of a file.
struct Expected {
  std::map<std::string, StoryEntry> entries;
  std::string version;
  uint64_t generated = 0;
  uint64_t entryLines = 0;
  uint64_t skippedLines = 0;

  void take(const SignatureLine& line) {
    if (line.kind == LineKind::kVersion) version = line.value;
    if (line.kind == LineKind::kGenerated)
      generated = std::strtoull(std::string(line.value).c_str(), nullptr, 10);
    if (line.kind == LineKind::kSkipped) ++skippedLines;
    if (line.kind != LineKind::kEntry) return;
    ++entryLines;
    entries.try_emplace(digestKey(line.digest.bytes()), storyEntryOf(line.entry));
  }
};

void expectFindingsToBeTrue(const SignatureLine& line) {
  std::vector<Finding> findings;
  findInLine(line, 7, findings);
  for (const Finding& finding : findings) {
    ASSERT_EQ(finding.line, 7u);
    ASSERT_FALSE(finding.text.empty());
    ASSERT_TRUE(std::all_of(finding.text.begin(), finding.text.end(), [](char c) {
      return c >= 0x20 && c < 0x7F;
    })) << finding.text;
  }
  if (line.kind == LineKind::kComment || line.kind == LineKind::kHeader) {
    ASSERT_TRUE(findings.empty());
    return;
  }
  if (line.kind == LineKind::kSkipped) {
    ASSERT_EQ(findings.size(), 1u) << line.text;
    ASSERT_TRUE(isError(findings[0].id));
    return;
  }
  if (line.kind != LineKind::kEntry) return;
  const std::optional<StoryEntry> meant = plainMeaning(line.text);
  const StoryEntry read = storyEntryOf(line.entry);
  const bool plain = meant && read == *meant && !read.threatName.empty() && read.severity > kSeverityLow &&
                     !hasOddBytes(read);
  ASSERT_EQ(findings.empty(), plain) << line.text << "\n" << (findings.empty() ? "" : findings[0].text);
}

void expectSameTable(const SignatureTable& table, const Expected& expected) {
  ASSERT_EQ(table.size(), expected.entries.size());
  for (const auto& [key, entry] : expected.entries) {
    SignatureFields fields;
    ASSERT_TRUE(table.fields({reinterpret_cast<const uint8_t*>(key.data()), key.size()}, fields));
    ASSERT_EQ(storyEntryOf(fields), entry);
  }
}

CheckedFile checked(const std::string& text, size_t pieceBytes) {
  FileCheck check(/*table=*/nullptr);
  RepeatedLines repeated;
  for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(std::min(pieceBytes, rest.size()))) {
    check.feed(rest.substr(0, pieceBytes));
    repeated.feed(rest.substr(0, pieceBytes));
  }
  CheckedFile file = check.finish();
  if (!file.ascending) addRepeatedLines(repeated.finish(), file);
  return file;
}

uint64_t countRepeated(const CheckedFile& file) {
  return static_cast<uint64_t>(
      std::count_if(file.findings.begin(), file.findings.end(), [](const Finding& finding) {
        return finding.id == FindingId::kRepeated && finding.text.starts_with("repeats");
      }));
}

TEST(Differential, AMillionRandomLinesReadAsTheServiceReadsThemAndAreNamedWhereTheyMislead) {
  RandomLines random(17);
  for (size_t file = 0; file < kFiles; ++file) {
    std::string text;
    Expected expected;
    for (size_t at = 0; at < kLinesOfFile; ++at) {
      const std::string one = random.line();
      const SignatureLine line = readSignatureLine(one);
      expected.take(line);
      expectFindingsToBeTrue(line);
      text += one + "\n";
    }
    const SignatureFile read = parseSignatureText(text);
    expectSameTable(read.table, expected);
    ASSERT_EQ(read.version, expected.version);
    ASSERT_EQ(read.generated, expected.generated);

    const CheckedFile whole = checked(text, 1 + random.below(5'000));
    ASSERT_EQ(whole.lines, kLinesOfFile);
    ASSERT_EQ(whole.entryLines, expected.entryLines);
    ASSERT_EQ(whole.skippedLines, expected.skippedLines);
    ASSERT_EQ(whole.version, read.version);
    ASSERT_EQ(whole.generated, read.generated);
    ASSERT_EQ(countRepeated(whole), expected.entryLines - expected.entries.size());
    if (HasFatalFailure()) return;
  }
}

TEST(Differential, WhatIsWrittenReadsBackAsTheSameEntriesInAnyPieces) {
  RandomLines random(18);
  for (size_t file = 0; file < 200; ++file) {
    std::string text;
    for (size_t at = 0; at < 200; ++at) text += random.line() + "\n";
    const SignatureFile first = parseSignatureText(text);
    std::string written;
    const uint64_t count =
        writeDatabase(first.table, {"v", 1}, {}, [&](std::string_view piece) { written += piece; });
    const SignatureFile second = parseSignatureText(written);
    ASSERT_EQ(count, first.table.size());
    ASSERT_EQ(second.table.size(), first.table.size());
    std::string again;
    writeDatabase(second.table, {"v", 1}, {}, [&](std::string_view piece) { again += piece; });
    ASSERT_EQ(again, written);
    SignatureCursor a(first.table);
    for (SignatureCursor b(second.table); !b.atEnd(); a.next(), b.next()) {
      ASSERT_TRUE(std::ranges::equal(a.digest(), b.digest()));
      StoryEntry one = storyEntryOf(a.fields());
      if (a.digest().size() == hash::kMd5Bytes) one.tag.clear();
      ASSERT_EQ(one, storyEntryOf(b.fields())) << hash::encodeHex(a.digest());
    }
    const CheckedFile file2 = checked(written, 1 + random.below(999));
    EXPECT_TRUE(file2.ascending);
    EXPECT_EQ(file2.skippedLines, 0u);
  }
}

}  // namespace
}  // namespace korvel::sig

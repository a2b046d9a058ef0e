#include "korvelsig/file_check.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <tuple>

#include "base/text.h"
#include "korvelsig/canonical_text.h"

namespace korvel::sig {
namespace {

Finding repeated(uint64_t line, uint64_t firstLine) {
  return {FindingId::kRepeated, line,
          "repeats the digest of line " + std::to_string(firstLine) + ", which wins"};
}

}  // namespace

DigestOrder::Place DigestOrder::note(std::span<const uint8_t> digest, uint64_t line) {
  const int relation = firstLine_ == 0 ? -1 : std::memcmp(last_.data(), digest.data(), digest.size());
  if (relation == 0) return Place::kRepeated;
  std::copy(digest.begin(), digest.end(), last_.begin());
  firstLine_ = line;
  return relation < 0 ? Place::kAscending : Place::kBelow;
}

FileCheck::FileCheck(SignatureTableBuilder* table, bool strict) : table_(table), strict_(strict) {}

void FileCheck::bareLine(const Sha256Key& key, std::string_view text) {
  ++file_.lines;
  noteEntry(key);
  if (table_ != nullptr) table_->addBare(key);
  if (strict_ && canonical_) noteCanonical(readSignatureLine(text));
}

void FileCheck::line(std::string_view text) {
  ++file_.lines;
  const SignatureLine line = readSignatureLine(text);
  const size_t before = file_.findings.size();
  findInLine(line, file_.lines, file_.findings);
  const bool broken = std::any_of(file_.findings.begin() + static_cast<ptrdiff_t>(before),
                                  file_.findings.end(), [](const Finding& f) { return isError(f.id); });
  switch (line.kind) {
    case LineKind::kComment:
      break;
    case LineKind::kHeader:
      headerSeen_ = true;
      break;
    case LineKind::kVersion:
    case LineKind::kGenerated:
    case LineKind::kSize:
      noteKeyword(line);
      break;
    case LineKind::kSkipped:
      ++file_.skippedLines;
      break;
    case LineKind::kEntry:
      noteEntry(line.digest.bytes());
      if (table_ != nullptr && !broken) table_->add(line.digest, line.entry);
      break;
  }
  if (broken && file_.findings.back().id == FindingId::kKeywordWithoutValue) keywordBroken_ = true;
  if (strict_ && canonical_) noteCanonical(line);
}

/// The last line of a keyword counts.
void FileCheck::noteKeyword(const SignatureLine& line) {
  const size_t which = line.kind == LineKind::kVersion ? 0 : line.kind == LineKind::kGenerated ? 1 : 2;
  if (keywordLines_[which] != 0) {
    file_.findings.push_back({FindingId::kRepeated, keywordLines_[which],
                              "line " + std::to_string(file_.lines) + " gives this value again, and wins"});
  }
  keywordLines_[which] = file_.lines;
  if (line.kind == LineKind::kVersion) {
    file_.version = line.value;
  } else if (line.kind == LineKind::kGenerated) {
    file_.generated = parseUnsigned(std::string(line.value));
  } else {
    file_.size = line.value;
    file_.sizeLine = file_.lines;
  }
}

void FileCheck::noteEntry(std::span<const uint8_t> digest) {
  ++file_.entryLines;
  DigestOrder& order = digest.size() == hash::kMd5Bytes    ? md5_
                       : digest.size() == hash::kSha1Bytes ? sha1_
                                                           : sha256_;
  if (digest.size() == hash::kSha256Bytes) ++sha256Lines_;
  switch (order.note(digest, file_.lines)) {
    case DigestOrder::Place::kAscending:
      return;
    case DigestOrder::Place::kBelow:
      file_.ascending = false;
      return;
    case DigestOrder::Place::kRepeated:
      repeated_.push_back(repeated(file_.lines, order.firstLine()));
      return;
  }
}

/// Reports the first line that is not canonical, and no other.
void FileCheck::noteCanonical(const SignatureLine& line) {
  if (line.kind != LineKind::kEntry) return;  // the head of a file may hold comments
  std::string expected;
  appendCanonicalLine(line.digest.bytes(), line.entry, expected);
  expected.pop_back();
  std::string digest(line.digest.bytes().begin(), line.digest.bytes().end());
  const bool inOrder = lastDigest_ < digest;
  lastDigest_ = std::move(digest);
  if (inOrder && expected == line.text) return;
  canonical_ = false;
  file_.findings.push_back(
      {FindingId::kNotCanonical, file_.lines,
       inOrder ? "not as build writes it: " + inQuotes(expected) : "not in the order of the digests"});
}

void FileCheck::findInWhole() {
  const auto report = [this](FindingId id, uint64_t line, const std::string& text) {
    file_.findings.push_back({id, line, text});
  };
  if (!headerSeen_ && !keywordBroken_) report(FindingId::kNoHeader, 0, "no header line KORVELDB/1");
  if (file_.version.empty() && !keywordBroken_)
    report(FindingId::kNoHeader, 0, "no VERSION line with a text");
  if (sha256Lines_ > kMaxFeedLines) {
    report(FindingId::kTooManyForFeed, 0,
           std::to_string(sha256Lines_) + " SHA-256 lines: a feed may have " + std::to_string(kMaxFeedLines));
  }
}

CheckedFile FileCheck::finish() {
  pieces_.finish();
  findInWhole();
  if (file_.ascending) addRepeatedLines(std::move(repeated_), file_);
  sortFindings(file_.findings);
  return std::move(file_);
}

void RepeatedLines::bareLine(const Sha256Key& key, std::string_view) {
  if (++lines_ > std::numeric_limits<uint32_t>::max()) throw std::length_error("too many lines");
  places_.push_back({key, static_cast<uint8_t>(key.size()), static_cast<uint32_t>(lines_)});
}

void RepeatedLines::line(std::string_view text) {
  if (++lines_ > std::numeric_limits<uint32_t>::max()) throw std::length_error("too many lines");
  const SignatureLine line = readSignatureLine(text);
  if (line.kind != LineKind::kEntry) return;
  Place place{{}, static_cast<uint8_t>(line.digest.size()), static_cast<uint32_t>(lines_)};
  std::copy(line.digest.bytes().begin(), line.digest.bytes().end(), place.key.begin());
  places_.push_back(place);
}

std::vector<Finding> RepeatedLines::finish() {
  pieces_.finish();
  std::sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) {
    return std::tie(a.key, a.size, a.line) < std::tie(b.key, b.size, b.line);
  });
  std::vector<Finding> findings;
  const Place* first = nullptr;
  for (const Place& place : places_) {
    if (first != nullptr && first->size == place.size && first->key == place.key) {
      findings.push_back(repeated(place.line, first->line));
    } else {
      first = &place;
    }
  }
  return findings;
}

void addRepeatedLines(std::vector<Finding> repeated, CheckedFile& file) {
  // Lines that are lost are findings of their own; the number of entries may count them or not.
  const uint64_t least = file.entryLines - repeated.size();
  const uint64_t most = file.entryLines + file.skippedLines;
  uint64_t size = 0;
  const char* end = file.size.data() + file.size.size();
  const auto [stop, problem] = std::from_chars(file.size.data(), end, size);
  if (stop == end && problem == std::errc() && (size < least || size > most)) {
    file.findings.push_back({FindingId::kSizeDiffers, file.sizeLine,
                             "SIZE says " + inQuotes(file.size) + ", the file has " +
                                 std::to_string(file.entryLines) + " entry lines"});
  }
  file.findings.insert(file.findings.end(), repeated.begin(), repeated.end());
  sortFindings(file.findings);
}

}  // namespace korvel::sig

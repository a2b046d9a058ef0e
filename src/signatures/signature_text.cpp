#include "signatures/signature_text.h"

#include <array>
#include <stdexcept>
#include <utility>

#include "base/sizes.h"
#include "base/text.h"

namespace korvel {
namespace {

constexpr std::string_view kHeaderKey = "KORVELDB/";
constexpr std::string_view kVersionKey = "VERSION ";
constexpr std::string_view kGeneratedKey = "GENERATED ";
constexpr std::string_view kSizeKey = "SIZE ";
constexpr std::string_view kNoFamilyWord = "SIGNATURE";
constexpr size_t kLongFormFields = 6;

// When an unfinished line reaches this size, its rest is skipped unless it may matter.
constexpr size_t kSuspiciousLineBytes = 64 * kKiB;
constexpr size_t kSha256Chars = 2 * hash::kSha256Bytes;

/// The first fields of a line, at most as many as the long form has.
struct Fields {
  std::array<std::string_view, kLongFormFields> at;
  size_t count = 0;
};

/// Splits like repeated std::getline: a colon at the very end does not add an empty field.
Fields splitFields(std::string_view line) {
  Fields fields;
  while (!line.empty() && fields.count < kLongFormFields) {
    const size_t colon = line.find(':');
    fields.at[fields.count++] = line.substr(0, colon);
    line.remove_prefix(colon == std::string_view::npos ? line.size() : colon + 1);
  }
  return fields;
}

bool isIgnored(std::string_view line) {
  return line.empty() || line.front() == '#' || line.starts_with(kHeaderKey) || line.starts_with(kSizeKey);
}

/// Whether a long line with this beginning can contain anything that is stored.
bool mayMatter(std::string_view beginning) {
  if (isIgnored(beginning)) return false;
  if (beginning.starts_with(kVersionKey) || beginning.starts_with(kGeneratedKey)) return true;
  hash::Digest digest;
  return digest.parse(beginning.substr(0, beginning.find(':')));
}

}  // namespace

bool parseSignatureEntry(std::string_view line, hash::Digest& digest, SignatureFields& fields) {
  const Fields split = splitFields(line);
  if (split.count == 0 || !digest.parse(split.at[0])) return false;
  fields = SignatureFields();
  if (split.count == 1) {
    fields.threatName = kGenericThreatName;
    fields.family = kGenericThreatName;
    return true;
  }
  // An MD5 line always has the short form, whatever the number of its fields.
  if (split.count < kLongFormFields || digest.size() == hash::kMd5Bytes) {
    fields.threatName = split.at[1];
    const bool named = split.count >= 3 && split.at[2] != kNoFamilyWord;
    fields.family = named ? split.at[2] : split.at[1];
    return true;
  }
  fields.tag = split.at[1];
  fields.family = split.at[2];
  fields.severity = parseSeverity(split.at[3]);
  fields.threatName = split.at[4];
  fields.reference = split.at[5];
  return true;
}

void SignatureFileParser::feed(std::string_view piece) {
  if (skipping_ || !carried_.empty()) piece = endCarriedLine(piece);
  while (!piece.empty()) {
    // Nearly every line of a large file is only a SHA-256 digest.
    if (piece.size() > kSha256Chars && piece[kSha256Chars] == '\n' && addBareLine(piece.data())) {
      piece.remove_prefix(kSha256Chars + 1);
      continue;
    }
    const size_t end = piece.find('\n');
    if (end == std::string_view::npos) return carry(piece);
    addLine(piece.substr(0, end));
    piece.remove_prefix(end + 1);
  }
}

SignatureFile SignatureFileParser::finish() {
  addLine(carried_);
  return {builder_.finish(), std::move(version_), generated_};
}

bool SignatureFileParser::addBareLine(const char* text) {
  DigestColumn<hash::kSha256Bytes>::Key key;
  if (!hash::decodeHex(text, hash::kSha256Bytes, key.data())) return false;
  builder_.addBare(key);
  return true;
}

void SignatureFileParser::addLine(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);  // only one
  if (isIgnored(line)) return;
  if (line.starts_with(kVersionKey)) {
    version_ = line.substr(kVersionKey.size());
    return;
  }
  if (line.starts_with(kGeneratedKey)) {
    generated_ = parseUnsigned(std::string(line.substr(kGeneratedKey.size())));
    return;
  }
  hash::Digest digest;
  SignatureFields fields;
  if (parseSignatureEntry(line, digest, fields)) builder_.add(digest, fields);
}

/// Keeps the beginning of a line until the next piece.
void SignatureFileParser::carry(std::string_view part) {
  if (skipping_) return;
  if (carried_.size() < kSuspiciousLineBytes) {
    const std::string_view head = part.substr(0, kSuspiciousLineBytes - carried_.size());
    carried_ += head;
    part.remove_prefix(head.size());
    if (carried_.size() == kSuspiciousLineBytes && !mayMatter(carried_)) {
      skipping_ = true;
      carried_.clear();
      return;
    }
  }
  if (part.size() > kMaxLineBytes - carried_.size()) throw std::length_error("signature line too long");
  carried_ += part;
}

/// Completes the carried line from `piece` and returns the rest of `piece`.
std::string_view SignatureFileParser::endCarriedLine(std::string_view piece) {
  const size_t end = piece.find('\n');
  if (end == std::string_view::npos) {
    carry(piece);
    return {};
  }
  carry(piece.substr(0, end));
  addLine(carried_);
  carried_.clear();
  skipping_ = false;
  return piece.substr(end + 1);
}

SignatureFile parseSignatureText(std::string_view text) {
  SignatureFileParser parser(text.size());
  parser.feed(text);
  return parser.finish();
}

}  // namespace korvel

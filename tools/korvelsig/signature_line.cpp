#include "korvelsig/signature_line.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "base/text.h"
#include "records/severity.h"

namespace korvel::sig {
namespace {

constexpr std::string_view kHeaderKey = "KORVELDB/";
constexpr std::string_view kNoFamilyWord = "SIGNATURE";
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr size_t kLongFormFields = 6;

struct Keyword {
  std::string_view word;
  LineKind kind;
};
constexpr Keyword kKeywords[] = {
    {"VERSION", LineKind::kVersion}, {"GENERATED", LineKind::kGenerated}, {"SIZE", LineKind::kSize}};

bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

/// A colon at the very end ends the last field and begins no other.
void splitFields(SignatureLine& line) {
  for (std::string_view rest = line.text; !rest.empty();) {
    const size_t colon = std::min(rest.find(':'), rest.size());
    if (line.fieldCount < SignatureLine::kKeptFields) line.fields[line.fieldCount] = rest.substr(0, colon);
    ++line.fieldCount;
    rest.remove_prefix(std::min(colon + 1, rest.size()));
  }
}

/// The entry that the fields stand for; the first of them is a digest.
void readEntry(SignatureLine& line) {
  const auto& field = line.fields;
  line.kind = LineKind::kEntry;
  line.longForm = line.fieldCount >= kLongFormFields && line.digest.size() != hash::kMd5Bytes;
  if (line.longForm) {
    line.entry = {field[1], field[4], field[2], field[5], parseSeverity(field[3])};
  } else if (line.fieldCount == 1) {
    line.entry = {{}, kGenericThreatName, kGenericThreatName, {}, kSeverityHigh};
  } else {
    const bool ownFamily = line.fieldCount > 2 && field[2] != kNoFamilyWord;
    line.entry = {{}, field[1], ownFamily ? field[2] : field[1], {}, kSeverityHigh};
  }
}

void findInKeywordValue(const SignatureLine& line, uint64_t number, std::vector<Finding>& findings) {
  const auto report = [&](const std::string& text) {
    findings.push_back({FindingId::kKeywordWithoutValue, number, text});
  };
  if (line.value.empty()) return report("a keyword without a value");
  if (line.kind == LineKind::kVersion) return;
  uint64_t value = 0;
  const char* end = line.value.data() + line.value.size();
  const auto [stop, problem] = std::from_chars(line.value.data(), end, value);
  if (problem == std::errc() && stop == end) return;
  if (line.kind == LineKind::kSize) return report("SIZE is no number: " + inQuotes(line.value));
  report("GENERATED is no number: " + inQuotes(line.value) + " is read as " +
         std::to_string(parseUnsigned(std::string(line.value))));
}

void findInSkipped(const SignatureLine& line, uint64_t number, std::vector<Finding>& findings) {
  const bool keyword = std::any_of(std::begin(kKeywords), std::end(kKeywords),
                                   [&line](const Keyword& key) { return line.text == key.word; });
  if (keyword || line.text == kHeaderKey.substr(0, kHeaderKey.size() - 1)) {
    findings.push_back({FindingId::kKeywordWithoutValue, number,
                        inQuotes(line.text) +
                            " has no value and is skipped: the keyword needs one blank and a "
                            "value"});
    return;
  }
  findings.push_back(digestFinding(line.fieldCount == 0 ? std::string_view() : line.fields[0], number));
}

void findLostFields(const SignatureLine& line, uint64_t number, std::vector<Finding>& findings) {
  const size_t count = line.fieldCount;
  const auto report = [&](FindingId id, const std::string& text) { findings.push_back({id, number, text}); };
  if (line.longForm) {
    if (count == kLongFormFields) return;
    const bool scheme = line.fields[5] == "http" || line.fields[5] == "https";
    return report(FindingId::kLostFields, "the reference ends at its colon and is read as " +
                                              inQuotes(line.entry.reference) +
                                              (scheme ? "; leave the scheme out" : ""));
  }
  if (count >= kLongFormFields) {
    return report(FindingId::kMd5LongForm, "an MD5 line has only the short form: read as threat name " +
                                               inQuotes(line.entry.threatName) + ", family " +
                                               inQuotes(line.entry.family) + ", severity high");
  }
  if (count <= 3) return;
  report(FindingId::kLostFields,
         "fields after the third are lost: " + std::to_string(count) +
             " fields are the short form, read as threat name " + inQuotes(line.entry.threatName) +
             ", family " + inQuotes(line.entry.family) +
             "; the long form needs six, and an empty reference a second colon at the end");
}

bool isBlankOrControl(char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7F; }

/// What is wrong with the blanks of a field, or empty. `prose` may hold single blanks inside.
std::string blankProblem(const char* name, std::string_view field, bool prose) {
  for (size_t at = 0; at < field.size(); ++at) {
    if (!isBlankOrControl(field[at])) continue;
    const bool inside = at > 0 && at + 1 < field.size();
    if (field[at] == ' ' && prose && inside) continue;
    const char* what = field[at] == '\r' ? "a CR" : field[at] == ' ' ? "a blank" : "a control character";
    return std::string(what) + " in the " + name + " " + inQuotes(field);
  }
  return {};
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

SignatureLine readSignatureLine(std::string_view text) {
  SignatureLine line;
  if (text.ends_with('\r')) text.remove_suffix(1);
  line.text = text;
  if (text.empty() || text.front() == '#') return line;
  if (text.starts_with(kHeaderKey)) {
    line.kind = LineKind::kHeader;
    line.value = text.substr(kHeaderKey.size());
    return line;
  }
  for (const Keyword& key : kKeywords) {
    if (!text.starts_with(key.word) || text.size() == key.word.size() || text[key.word.size()] != ' ')
      continue;
    line.kind = key.kind;
    line.value = text.substr(key.word.size() + 1);
    return line;
  }
  splitFields(line);
  if (line.fieldCount == 0 || !line.digest.parse(line.fields[0])) {
    line.kind = LineKind::kSkipped;
  } else {
    readEntry(line);
  }
  return line;
}

Finding digestFinding(std::string_view field, uint64_t number) {
  const auto invalid = [&](const std::string& why) {
    return Finding{FindingId::kInvalidDigest, number, "not a digest, the line is skipped: " + why};
  };
  if (field.empty()) return invalid("the first field is empty");
  if (std::all_of(field.begin(), field.end(), isHexDigit)) {
    return {FindingId::kWrongLength, number,
            "a digest of " + std::to_string(field.size()) +
                " characters, the line is skipped: MD5 has 32, SHA-1 40, SHA-256 64"};
  }
  if (field.starts_with(kUtf8Mark))
    return invalid("a byte-order mark stands before " + inQuotes(field.substr(3)));
  std::string_view bare = trimmed(field, " \t\r");
  hash::Digest digest;
  if (bare.size() != field.size() && digest.parse(bare)) {
    return invalid(field.ends_with('\r') ? "a second CR follows the digest"
                                         : "a blank stands beside the digest");
  }
  return invalid(inQuotes(field));
}

void findInTexts(const SignatureFields& entry, uint64_t number, std::vector<Finding>& findings) {
  for (const auto& [name, field] : {std::pair{"tag", entry.tag},
                                    {"family", entry.family},
                                    {"threat name", entry.threatName},
                                    {"reference", entry.reference}}) {
    const std::string problem = blankProblem(name, field, /*prose=*/field.data() == entry.reference.data());
    if (problem.empty()) continue;
    findings.push_back({FindingId::kBlankInField, number, problem});
    break;
  }
  for (const std::string_view field : {entry.tag, entry.family, entry.threatName, entry.reference}) {
    if (isAscii(field)) continue;
    findings.push_back({FindingId::kNotAscii, number, "not ASCII: " + inQuotes(field)});
    break;
  }
}

void findInLine(const SignatureLine& line, uint64_t number, std::vector<Finding>& findings) {
  const auto report = [&](FindingId id, const std::string& text) { findings.push_back({id, number, text}); };
  switch (line.kind) {
    case LineKind::kComment:
    case LineKind::kHeader:
      return;
    case LineKind::kVersion:
      if (!isAscii(line.value)) report(FindingId::kNotAscii, "not ASCII: " + inQuotes(line.value));
      if (line.value.ends_with('\r')) report(FindingId::kBlankInField, "a CR in the version");
      return findInKeywordValue(line, number, findings);
    case LineKind::kGenerated:
    case LineKind::kSize:
      return findInKeywordValue(line, number, findings);
    case LineKind::kSkipped:
      return findInSkipped(line, number, findings);
    case LineKind::kEntry:
      break;
  }
  findLostFields(line, number, findings);
  if (line.fieldCount == 1 && line.text.ends_with(':')) {
    report(FindingId::kEmptyName,
           "no threat name after the colon: read as a digest alone, with the generic name");
  } else if (line.entry.threatName.empty()) {
    report(FindingId::kEmptyName, "the threat name is empty");
  }
  if (line.longForm && line.entry.severity == kSeverityClean) {
    report(FindingId::kUnknownSeverity, "unknown severity " + inQuotes(line.fields[3]) +
                                            ", read as 0: the file matches and is not listed");
  }
  if (line.entry.severity == kSeverityLow) {
    report(FindingId::kNeverListed, "severity low: the file counts as a threat, but is never listed");
  }
  findInTexts(line.entry, number, findings);
}

}  // namespace korvel::sig

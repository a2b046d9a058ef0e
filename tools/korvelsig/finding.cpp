#include "korvelsig/finding.h"

#include <algorithm>

namespace korvel::sig {
namespace {

constexpr const char* kNames[] = {"E01", "E02", "E03", "E04", "E05", "E06", "W01", "W02",
                                  "W03", "W04", "W05", "W06", "W07", "W08", "W09", "C01"};
constexpr size_t kMaxQuotedBytes = 60;

}  // namespace

const char* findingName(FindingId id) { return kNames[static_cast<size_t>(id)]; }

bool isError(FindingId id) { return id <= FindingId::kLostFields; }

bool hasErrors(const std::vector<Finding>& findings) { return countErrors(findings) != 0; }

uint64_t countErrors(const std::vector<Finding>& findings) {
  return static_cast<uint64_t>(std::count_if(findings.begin(), findings.end(),
                                             [](const Finding& finding) { return isError(finding.id); }));
}

void sortFindings(std::vector<Finding>& findings) {
  std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
    return a.line != b.line ? a.line - 1 < b.line - 1 : a.id < b.id;  // line 0 becomes the largest
  });
}

std::string printableAscii(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string shown;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F && c != '\\') {
      shown += c;
    } else if (c == '\\') {
      shown += "\\\\";
    } else {
      shown += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
  }
  return shown;
}

std::string inQuotes(std::string_view text) {
  const std::string shown = printableAscii(text.substr(0, kMaxQuotedBytes));
  return '"' + shown + (text.size() > kMaxQuotedBytes ? "...\"" : "\"");
}

}  // namespace korvel::sig

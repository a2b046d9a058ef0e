#include "records/severity.h"

#include <iterator>
#include <string>

#include "base/text.h"

namespace korvel {
namespace {

constexpr const char* kSeverityNames[] = {"clean", "low", "medium", "high", "critical"};

}  // namespace

const char* severityName(Severity severity) {
  if (severity < 0 || severity >= static_cast<Severity>(std::size(kSeverityNames))) return "unknown";
  return kSeverityNames[severity];
}

Severity parseSeverity(std::string_view text) {
  const std::string lower = lowerAscii(text);
  for (Severity severity = kSeverityCritical; severity > kSeverityClean; --severity) {
    if (lower == kSeverityNames[severity]) return severity;
  }
  return kSeverityClean;  // for "clean" and for every unknown text
}

}  // namespace korvel

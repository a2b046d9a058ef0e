// How bad a finding is: the one scale of findings, verdicts, signature entries and quarantine records. Pure
// and thread-safe.
#pragma once

#include <cstdint>
#include <string_view>

namespace korvel {

/// 0 "clean", 1 "low", 2 "medium", 3 "high", 4 "critical". A number and not an enumeration: files and
/// messages carry values beyond the scale, which print as "unknown".
using Severity = int32_t;
inline constexpr Severity kSeverityClean = 0;
inline constexpr Severity kSeverityLow = 1;
inline constexpr Severity kSeverityMedium = 2;
inline constexpr Severity kSeverityHigh = 3;
inline constexpr Severity kSeverityCritical = 4;

/// The name of a value of the scale, else "unknown". A static string.
const char* severityName(Severity severity);

/// The value of a name, in any ASCII case and compared whole; everything else, "clean" included, is 0.
Severity parseSeverity(std::string_view text);

}  // namespace korvel

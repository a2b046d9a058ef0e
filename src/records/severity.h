// The severity scale of findings, verdicts, signature entries and quarantine records. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string_view>

namespace korvel {

/// 0 "clean", 1 "low", 2 "medium", 3 "high", 4 "critical". An integer rather than an enumeration, because
/// files and messages may carry other values, which print as "unknown".
using Severity = int32_t;
inline constexpr Severity kSeverityClean = 0;
inline constexpr Severity kSeverityLow = 1;
inline constexpr Severity kSeverityMedium = 2;
inline constexpr Severity kSeverityHigh = 3;
inline constexpr Severity kSeverityCritical = 4;

/// The name of a value on the scale, else "unknown". A static string.
const char* severityName(Severity severity);

/// The value of a name; 0 for every other text. Compares the whole text, ASCII letters in any case.
Severity parseSeverity(std::string_view text);

}  // namespace korvel

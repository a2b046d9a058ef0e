// What may be done with a detected file, and what this client refuses. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "korvelctl/cli/text.h"
#include "records/severity.h"

namespace korvel::ctl {

enum class ThreatAction { kReport, kQuarantine, kDelete };

/// "report", "quarantine", "delete". A static text.
const char* threatActionName(ThreatAction action);
/// The reverse; kReport for any other text.
ThreatAction threatActionOf(const std::string& name);

/// "medium", "high" or "critical"; kSeverityHigh for any other text.
Severity severityOption(const std::string& name);

/// Where a file lies, as far as it matters for decisions.
struct FilePlace {
  bool inQuarantineStore = false;
  bool inWindowsFolder = false;
};

/// Why this client will not decide on the file; nothing when it will. Some false alarms are known in the
/// Windows folder, and a stored file that is acted on breaks its quarantine record.
std::optional<std::string> guardAgainst(const FilePlace& place, bool force, Language language);

/// Seconds of "30d", "12h", "45m", "90s" or a plain number of days; nothing for any other text.
std::optional<uint64_t> ageOption(const std::string& text);

}  // namespace korvel::ctl

#include "korvelctl/model/decision.h"

#include <charconv>

#include "korvelctl/cli/words/threat_words.h"

namespace korvel::ctl {

const char* threatActionName(ThreatAction action) {
  switch (action) {
    case ThreatAction::kQuarantine:
      return "quarantine";
    case ThreatAction::kDelete:
      return "delete";
    case ThreatAction::kReport:
      break;
  }
  return "report";
}

ThreatAction threatActionOf(const std::string& name) {
  if (name == "quarantine") return ThreatAction::kQuarantine;
  return name == "delete" ? ThreatAction::kDelete : ThreatAction::kReport;
}

Severity severityOption(const std::string& name) {
  const Severity severity = parseSeverity(name);
  return severity == kSeverityClean ? kSeverityHigh : severity;
}

std::optional<std::string> guardAgainst(const FilePlace& place, bool force, Language language) {
  if (place.inQuarantineStore) return words::kGuardQuarantine.in(language);
  if (place.inWindowsFolder && !force) return words::kGuardWindows.in(language);
  return std::nullopt;
}

std::optional<uint64_t> ageOption(const std::string& text) {
  uint64_t number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  constexpr uint64_t kMost = 100'000;
  if (problem != std::errc() || number > kMost || end - stop > 1) return std::nullopt;
  if (stop == end || *stop == 'd') return number * 86'400;
  if (*stop == 'h') return number * 3'600;
  if (*stop == 'm') return number * 60;
  return *stop == 's' ? std::optional(number) : std::nullopt;
}

}  // namespace korvel::ctl

#include "korvelctl/model/scan_report.h"

#include <algorithm>
#include <map>

namespace korvel::ctl {

const char* outcomeName(ScanOutcome outcome) {
  switch (outcome) {
    case ScanOutcome::kCompleted:
      return "completed";
    case ScanOutcome::kCancelled:
      return "cancelled";
    case ScanOutcome::kStopped:
      return "stopped";
    case ScanOutcome::kFailed:
      return "failed";
    case ScanOutcome::kNothingExamined:
      return "nothing_examined";
    case ScanOutcome::kLost:
      return "lost";
  }
  return "lost";
}

const char* threatStateName(ThreatState state) {
  switch (state) {
    case ThreatState::kPresent:
      return "present";
    case ThreatState::kQuarantined:
      return "quarantined";
    case ThreatState::kDeleted:
      return "deleted";
    case ThreatState::kMissing:
      return "missing";
  }
  return "missing";
}

uint64_t SeverityCounts::atLeast(Severity least) const {
  uint64_t sum = 0;
  for (Severity severity = std::max(least, kSeverityClean); severity <= kSeverityCritical; ++severity)
    sum += of[static_cast<size_t>(severity)];
  return sum;
}

SeverityCounts countThreats(const ScanDocument& document) {
  SeverityCounts counts;
  for (const ReportedThreat& threat : document.threats) {
    if (threat.inQuarantineStore) continue;
    const Severity severity = threat.record.severity;
    const bool onScale = severity >= kSeverityClean && severity <= kSeverityCritical;
    ++counts.of[onScale ? static_cast<size_t>(severity) : 0];
  }
  return counts;
}

bool foundSomething(const ScanDocument& document) {
  const auto threatCounts = [&document](const ReportedThreat& threat) {
    return !threat.inQuarantineStore && threat.record.severity >= document.failOn;
  };
  const auto eventCounts = [&document](const ReportedEvent& seen) {
    return !seen.inQuarantineStore && seen.event.severity >= document.failOn;
  };
  return std::any_of(document.threats.begin(), document.threats.end(), threatCounts) ||
         std::any_of(document.events.begin(), document.events.end(), eventCounts);
}

std::optional<double> scanSpeed(const ScanDocument& document) {
  if (document.elapsedMs == 0) return std::nullopt;
  return static_cast<double>(document.bytesExamined) * 1000 / static_cast<double>(document.elapsedMs);
}

std::vector<FindingGroup> groupByCode(const ScanDocument& document, Severity least, Severity most) {
  std::map<std::string, FindingGroup> byCode;
  for (size_t i = 0; i < document.threats.size(); ++i) {
    const ReportedThreat& threat = document.threats[i];
    const Severity severity = threat.record.severity;
    if (threat.inQuarantineStore || severity < least || severity > most) continue;
    FindingGroup& group = byCode[threat.record.code];
    group.code = threat.record.code;
    group.severity = std::max(group.severity, severity);
    group.threats.push_back(i);
  }
  std::vector<FindingGroup> groups;
  groups.reserve(byCode.size());
  for (auto& [code, group] : byCode) groups.push_back(std::move(group));
  std::stable_sort(groups.begin(), groups.end(), [](const FindingGroup& a, const FindingGroup& b) {
    return a.severity != b.severity ? a.severity > b.severity : a.threats.size() > b.threats.size();
  });
  return groups;
}

}  // namespace korvel::ctl

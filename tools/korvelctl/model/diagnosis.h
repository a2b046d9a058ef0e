// One line of a diagnosis: what was looked at, how it is, and what to do about it. A plain value.
#pragma once

#include <string>
#include <vector>

namespace korvel::ctl {

enum class DiagnosisState {
  kOk,
  kWarning,
  kFailure,
  kNotLookedAt,  ///< not needed, or the caller's rights do not let him look
};

/// "ok", "warning", "failure", "not_looked_at". A static text.
inline const char* diagnosisStateName(DiagnosisState state) {
  switch (state) {
    case DiagnosisState::kOk:
      return "ok";
    case DiagnosisState::kWarning:
      return "warning";
    case DiagnosisState::kFailure:
      return "failure";
    case DiagnosisState::kNotLookedAt:
      break;
  }
  return "not_looked_at";
}

struct Diagnosis {
  std::string id;  ///< for scripts; never changes
  DiagnosisState state = DiagnosisState::kNotLookedAt;
  std::string message;   ///< UTF-8, one line
  std::string nextStep;  ///< what to do; empty where nothing is to be done

  bool operator==(const Diagnosis&) const = default;
};

/// Whether something is wrong: a warning or a failure.
inline bool hasFindings(const std::vector<Diagnosis>& lines) {
  for (const Diagnosis& line : lines) {
    if (line.state == DiagnosisState::kWarning || line.state == DiagnosisState::kFailure) return true;
  }
  return false;
}

}  // namespace korvel::ctl

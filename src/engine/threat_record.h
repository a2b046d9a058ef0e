// The engine's record of a detection, which the user interface lists and acts on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "scan/scan_records.h"

namespace korvel::svc {

struct ThreatRecord {
  std::wstring path;
  std::string name;  ///< what the user sees
  std::string code;  ///< the signature's family or the first rule's code
  Severity severity = kSeverityHigh;
  uint64_t size = 0;  ///< bytes
  std::string sha256;
  std::vector<Finding> reasons;     ///< the verdict's findings
  std::vector<std::string> labels;  ///< the verdict's short headlines

  bool operator==(const ThreatRecord&) const = default;
};

/// Names the detection: a signature match by its threat name and family, anything else by the first headline
/// ("Suspicious file" without one) and the first finding's code ("UNKNOWN" without one). Pure.
ThreatRecord makeThreatRecord(const FileVerdict& verdict);

}  // namespace korvel::svc

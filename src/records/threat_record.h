// Detections as they are reported to clients.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "records/finding.h"
#include "records/severity.h"

namespace korvel {

/// A detection made outside a scan, kept until a client fetches it for a notification. A plain value.
struct ThreatEvent {
  std::wstring path;
  std::string name;  ///< the threat's name, as the user sees it; UTF-8
  std::string code;  ///< the signature's family or the first rule's code
  Severity severity = kSeverityHigh;
  uint64_t size = 0;  ///< bytes

  bool operator==(const ThreatEvent&) const = default;
};

/// A detection made by a scan, with its explanation. A plain value.
struct ThreatRecord : ThreatEvent {
  std::string sha256;               ///< lower-case hexadecimal; empty when not computed
  std::vector<Finding> reasons;     ///< the verdict's findings
  std::vector<std::string> labels;  ///< the verdict's short headlines

  bool operator==(const ThreatRecord&) const = default;
};

}  // namespace korvel

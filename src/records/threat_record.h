// A detection as the user interface lists it and acts on it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "records/finding.h"
#include "records/severity.h"

namespace korvel {

/// A detection outside a scan, as it waits for a client: what a notification shows. A plain value.
struct ThreatEvent {
  std::wstring path;
  std::string name;  ///< the threat's name, as the user sees it; UTF-8
  std::string code;  ///< the signature's family or the first rule's code
  Severity severity = kSeverityHigh;
  uint64_t size = 0;  ///< bytes

  bool operator==(const ThreatEvent&) const = default;
};

/// A detection of a scan, with everything that explains it. A plain value.
struct ThreatRecord : ThreatEvent {
  std::string sha256;               ///< lower-case hexadecimal; empty when not computed
  std::vector<Finding> reasons;     ///< the verdict's findings
  std::vector<std::string> labels;  ///< the verdict's short headlines

  bool operator==(const ThreatRecord&) const = default;
};

}  // namespace korvel

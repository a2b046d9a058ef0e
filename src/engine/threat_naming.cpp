#include "engine/threat_naming.h"

namespace korvel::svc {

ThreatRecord makeThreatRecord(const FileVerdict& verdict) {
  ThreatRecord record;
  record.path = verdict.path;
  if (verdict.signatureMatched) {
    record.name = verdict.threatName;
    record.code = verdict.family;
  } else {
    record.name = verdict.reasons.empty() ? "Suspicious file" : verdict.reasons.front();
    record.code = verdict.findings.empty() ? "UNKNOWN" : verdict.findings.front().code;
  }
  record.severity = verdict.severity;
  record.size = verdict.size;
  record.sha256 = verdict.sha256;
  record.reasons = verdict.findings;
  record.labels = verdict.reasons;
  return record;
}

}  // namespace korvel::svc

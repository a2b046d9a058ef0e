#include "scan/scan_records.h"

namespace korvel {

void addToSummary(const FileVerdict& verdict, ScanSummary& summary) {
  summary.filesScanned += 1;
  summary.bytesScanned += verdict.size;
  if (verdict.signatureMatched || verdict.severity >= kSeverityHigh) {
    summary.threats += 1;
  } else if (verdict.severity == kSeverityMedium) {
    summary.suspicious += 1;
  }
}

}  // namespace korvel

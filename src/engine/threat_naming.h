// Names a verdict for the lists that a user sees. Pure.
#pragma once

#include "records/threat_record.h"
#include "scan/scan_records.h"

namespace korvel::svc {

/// Names the detection: a signature match by its threat name and family, anything else by the first headline
/// ("Suspicious file" without one) and the first finding's code ("UNKNOWN" without one).
ThreatRecord makeThreatRecord(const FileVerdict& verdict);

}  // namespace korvel::svc

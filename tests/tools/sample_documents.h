// Documents that renderers are tested with: one as an office computer has it, and one whose names try to
// break every form of output.
#pragma once

#include "korvelctl/model/checked_file.h"
#include "korvelctl/model/quarantine_check.h"
#include "korvelctl/model/scan_report.h"
#include "korvelctl/render/look.h"
#include "korvelctl/render/shield.h"

namespace korvel::test {

inline constexpr uint64_t kSampleNow = 1'763'700'000;  // 2025-11-21 04:40:00 UTC

/// Three hours east of UTC.
uint64_t sampleLocalTime(uint64_t utc);

ctl::ScanDocument ordinaryScan();
/// Mark-up, quotes, line ends, marks that turn text around, formulas, half a surrogate pair, a long path.
ctl::ScanDocument hostileScan();
ctl::CheckDocument explainedCheck();
ctl::QuarantineCheck troubledQuarantine();
ctl::ShieldReport crowdedShield();
std::string trappedSettings();

}  // namespace korvel::test

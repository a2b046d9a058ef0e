// The two standard target lists.
#pragma once

#include <vector>

#include "scan/scan_records.h"

namespace korvel {

/// The user's folders that exist below USERPROFILE (under LocalSystem: the system profile's), the profile's
/// direct files, then System32 and the two program folders.
std::vector<ScanTarget> quickTargets();

/// The roots of all fixed and removable drives, in letter order. The setting ScanRemovable is not consulted.
std::vector<ScanTarget> fullTargets();

}  // namespace korvel

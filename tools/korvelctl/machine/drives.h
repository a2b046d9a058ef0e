// The drive letters of the caller. Thread-safe.
#pragma once

#include <string>

#include "korvelctl/model/drive_path.h"

namespace korvel::ctl {

/// What the system says about `letter` in the caller's session. Asks no server.
DriveFacts driveFacts(wchar_t letter);

/// The absolute `path` as the service must be given it.
ServicePath pathForService(const std::wstring& path);

}  // namespace korvel::ctl

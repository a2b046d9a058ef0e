// The last words of a crashing process: one line in the log file, past the log object, whose lock the crashed
// thread may hold.
#pragma once

#include <string>

namespace korvel {

/// Opens a raw handle to the log file for the crash line and installs the process-wide exception filter; an
/// uncaught C++ exception reaches it too. Call once, at start-up. `logFile` may not exist yet.
void installCrashFilter(const std::wstring& logFile);

}  // namespace korvel

// The last words of a crashing process: one line in the log file, past the log object, whose lock the crashed
// thread may hold.
#pragma once

#include <string>

#include "base/win.h"

namespace korvel {

/// Opens a raw handle to the log file for the crash line and installs the process-wide exception filter; an
/// uncaught C++ exception reaches it too. Call at start-up, before there are other threads. `logFile` may not
/// exist yet; where it cannot be opened now, the filter tries again.
void installCrashFilter(const std::wstring& logFile);

/// The filter. Writes "crash: UNHANDLED EXCEPTION code=0xC0000005 address=00007FF6ABCDEF01 thread=1234" and a
/// line feed to the log file, and the same text without "crash: " to the debugger output. Always returns
/// EXCEPTION_EXECUTE_HANDLER, so that the process ends; that is all it does without an exception record. Any
/// thread, after installCrashFilter(); takes no lock and no memory of its own.
LONG WINAPI crashFilter(EXCEPTION_POINTERS* pointers);

}  // namespace korvel

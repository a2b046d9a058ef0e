// Writes one line to the log file when the process crashes. Bypasses the log object, whose lock the crashed
// thread may hold.
#pragma once

#include <string>

#include "base/win.h"

namespace korvel {

/// Opens a raw handle to the log file for the crash line and installs the process-wide exception filter,
/// which also receives uncaught C++ exceptions; the code in their line is the platform's. In a program that
/// is linked with this file, every thread keeps room for the filter when its stack overflows. Call at
/// start-up, before there are other threads. `logFile` need not exist yet; if it cannot be opened now, the
/// filter tries again.
void installCrashFilter(const std::wstring& logFile);

/// The filter. Writes "crash: UNHANDLED EXCEPTION code=0xC0000005 address=00007FF6ABCDEF01 thread=1234" and a
/// line feed to the log file, and the same text without "crash: " to the debugger output; without an
/// exception record it writes nothing. Always returns EXCEPTION_EXECUTE_HANDLER, so that the process ends.
/// May run on any thread after installCrashFilter(); takes no lock and allocates no memory itself.
LONG WINAPI crashFilter(EXCEPTION_POINTERS* pointers);

}  // namespace korvel

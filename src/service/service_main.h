// The process as a Windows service: states reported to the Service Control Manager, controls turned into the
// process-wide stop.
#pragma once

#include "base/win.h"

namespace korvel::svc {

/// The service entry given to the dispatcher. Arguments are ignored.
void WINAPI ServiceMain(DWORD argc, LPWSTR* argv);

/// Enters the service dispatcher. Returns the process exit code: 0 after the service has stopped, else the
/// last-error value once the failure has been logged.
int runServiceMode();

}  // namespace korvel::svc

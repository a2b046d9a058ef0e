// The process as a Windows service: the entry point and the dispatcher that calls it.
#pragma once

#include "base/win.h"
#include "service/service_system.h"

namespace korvel::svc {

/// The service entry given to the dispatcher. Arguments are ignored.
void WINAPI ServiceMain(DWORD argc, LPWSTR* argv);

/// Enters the service dispatcher. Returns the process exit code: 0 after the service has stopped, else the
/// last-error value, read after the failure has been logged. `system` is for tests.
int runServiceMode(const ServiceSystem& system = ServiceSystem::windows());

}  // namespace korvel::svc

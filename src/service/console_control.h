// Console events turned into the stop of the process: Ctrl+C, Ctrl+Break and the closing of the console.
#pragma once

#include "base/win.h"
#include "runtime/stop_signal.h"

namespace korvel::svc {

/// Requests the stop and returns TRUE for the three events above; every other event is left to the system:
/// FALSE. The process ends as soon as the answer to a closing console is given, so that answer waits for the
/// end of `mainThread`. Thread-safe.
BOOL handleConsoleControl(DWORD controlType, StopSignal& stop, HANDLE mainThread);

/// Lets the process-wide stop follow console events. Call once, on the main thread.
void installConsoleControl();

}  // namespace korvel::svc

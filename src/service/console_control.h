// Turns console events into the process-wide stop: Ctrl+C, Ctrl+Break and the closing of the console.
#pragma once

#include "base/win.h"
#include "runtime/stop_signal.h"

namespace korvel::svc {

/// Requests the stop and returns TRUE for the three events above; returns FALSE for every other event, which
/// leaves it to the system. When the console is closed, the system ends the process as soon as the handler
/// returns, so the handler then waits for `mainThread` to end. Thread-safe.
BOOL handleConsoleControl(DWORD controlType, StopSignal& stop, HANDLE mainThread);

/// Connects console events to the process-wide stop, Ctrl+C also where the starter of this program has
/// switched it off. Call once, on the main thread.
void installConsoleControl();

}  // namespace korvel::svc

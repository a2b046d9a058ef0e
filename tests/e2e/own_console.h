// The consoles of a test and of the services that it starts.
#pragma once

#include "base/win.h"

namespace korvel::test {

/// Gives this process a console of its own, which the processes started from now on share. Does nothing when
/// it already has one. Throws when the system gives none.
void useOwnConsole();

/// Ctrl+C in that console. It reaches every process of the console; this one ignores it.
void pressCtrlC();

/// Leaves this process without a console, so that processes started from now on share none.
void leaveConsole();

/// Whether `process` has a console. Call after leaveConsole().
bool hasConsole(DWORD process);

}  // namespace korvel::test

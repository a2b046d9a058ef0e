// The consoles of a test and of the services that it starts.
#pragma once

#include "base/win.h"

namespace korvel::test {

/// Gives this process a console of its own, which the processes started from now on share. Does nothing where
/// it has one already. Throws when there is none to be had.
void useOwnConsole();

/// Ctrl+C in that console. It reaches every process of the console; this one ignores it.
void pressCtrlC();

/// Leaves this process without a console; those started from now on have none to share.
void leaveConsole();

/// Whether `process` has a console. Call after leaveConsole().
bool hasConsole(DWORD process);

}  // namespace korvel::test

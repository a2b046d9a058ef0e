// Ctrl+C for the services that a test starts.
#pragma once

namespace korvel::test {

/// Gives this process a console of its own, which the processes started from now on share. Later calls do
/// nothing. Throws when there is none to be had.
void useOwnConsole();

/// Ctrl+C in that console. It reaches every process of the console; this one ignores it.
void pressCtrlC();

}  // namespace korvel::test

// Ctrl+C. Thread-safe.
#pragma once

namespace korvel::ctl {

/// From now on the first Ctrl+C only sets a mark; the second ends the program at once.
void catchInterrupt();
/// Whether Ctrl+C has been pressed since.
bool interrupted();
/// Sleeps, but not beyond Ctrl+C. Returns interrupted().
bool sleepUnlessInterrupted(unsigned milliseconds);

}  // namespace korvel::ctl

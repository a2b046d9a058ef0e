// Runs the whole service in the foreground, until Ctrl+C.
#pragma once

namespace korvel::svc {

/// Returns the process exit code: 0 after a clean stop, 1 when the engine cannot start.
int runConsoleMode();

}  // namespace korvel::svc

// Serves one connected client: reads request frames, runs one operation for each, writes one reply frame.
#pragma once

#include "base/win.h"

namespace korvel::ipc {

/// Returns when the client disconnects, a transfer fails, a stop is requested, or after answering a stop
/// request. Runs on the pipe server's thread. The engine is found in the engine slot.
void handleClient(HANDLE pipe);

}  // namespace korvel::ipc

// Serves one connected client: reads request frames, runs one operation for each, writes one reply frame.
#pragma once

#include "base/win.h"
#include "server/engine_operations.h"

namespace korvel::ipc {

/// How long a client may take to read the last reply before the service hangs up: disconnecting throws away
/// what has not been read.
inline constexpr DWORD kLastReplyGraceMs = 1000;

/// Returns when the client disconnects, a transfer fails, a stop is requested, or after answering a stop
/// request. True when every reply was written whole, so that the client may still be reading; false when the
/// stop cut one short. Runs on the pipe server's thread.
///
/// Every request that arrives whole gets exactly one reply: the request's own opcode, or kErrorOpcode with
/// the reason as text, which is also logged. What an operation throws becomes such a reason; a request or a
/// reply that does not fit into memory ends only the session. No exception leaves.
bool handleClient(HANDLE pipe, EngineOperations& engine);

}  // namespace korvel::ipc

// Serves one connected client: reads request frames, runs the operation of each and writes one reply frame.
#pragma once

#include "base/win.h"
#include "server/engine_operations.h"

namespace korvel::ipc {

/// How long a client may take to read the last reply before the service disconnects it: disconnecting
/// discards unread data.
inline constexpr DWORD kLastReplyGraceMs = 1000;

/// Returns when the client disconnects, a transfer fails, a stop is requested, or after answering a stop
/// request. False when the stop cut a reply short; otherwise true, and the client may still be reading
/// replies. Runs on the pipe server's thread.
///
/// Every request that arrives whole gets exactly one reply: the request's own opcode, or kErrorOpcode with
/// the reason as text, which is also logged. An exception of an operation becomes such a reason; a request
/// that does not fit into memory ends only the session. No exception escapes.
bool handleClient(HANDLE pipe, EngineOperations& engine);

}  // namespace korvel::ipc

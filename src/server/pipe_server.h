// Accepts clients on the control pipe, one at a time, until the process-wide stop.
#pragma once

#include "server/engine_operations.h"
#include "server/server_calls.h"

namespace korvel::ipc {

/// Runs on the thread that created the stop event, which must exist. Returns when a stop is requested, and
/// when an event cannot be created or waited for. Each client is served until it disconnects, in the order in
/// which they connect; meanwhile the others find the pipe busy. `calls` is for tests.
void runPipeServer(EngineOperations& engine, const ServerCalls& calls = ServerCalls::windows());

}  // namespace korvel::ipc

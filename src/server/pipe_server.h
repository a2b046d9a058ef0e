// Accepts clients on the control pipe, one at a time, until the process-wide stop.
#pragma once

#include "server/engine_operations.h"
#include "server/server_calls.h"

namespace korvel::ipc {

/// Runs on the thread that started the service; returns once a stop was requested or an event cannot be
/// created. The stop event must exist. Clients are served to their end in the order in which they connect;
/// the others find the pipe busy. `calls` is for tests.
void runPipeServer(EngineOperations& engine, const ServerCalls& calls = ServerCalls::windows());

}  // namespace korvel::ipc

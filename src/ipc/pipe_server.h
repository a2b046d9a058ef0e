// Accepts clients on the control pipe, one at a time, until the process-wide stop.
#pragma once

#include "ipc/pipe_system.h"

namespace korvel::ipc {

/// How long a client may take to read the last reply before the service hangs up: disconnecting throws away
/// what has not been read.
inline constexpr DWORD kLastReplyGraceMs = 1000;

/// Runs on the thread that started the service; returns once a stop was requested or an event cannot be
/// created. The stop event must exist. Clients are served to their end in the order in which they connect;
/// the others find the pipe busy. `system` is for tests.
void runPipeServer(const PipeSystem& system = PipeSystem::windows());

}  // namespace korvel::ipc

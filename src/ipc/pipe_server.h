// Accepts clients on the control pipe, one at a time, until the process-wide stop.
#pragma once

namespace korvel::ipc {

/// Runs on the thread that started the service; returns once a stop was requested or an event cannot be
/// created. The stop event must exist.
void runPipeServer();

}  // namespace korvel::ipc

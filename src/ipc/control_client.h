// The diagnostic clients --ping, --update-check and --fw, which talk to a running service.
//
// `system` is for tests. None of these functions is thread-safe: they share the console.
#pragma once

#include <string>

#include "base/win.h"
#include "ipc/pipe_system.h"

namespace korvel::ipc {

/// Opens the service pipe, waiting in steps of 200 ms up to `timeoutMs` while it is busy. A missing pipe ends
/// each step at once, so that without a service all tries take almost no time. Null on failure with "cannot
/// connect to service pipe (win32=<code>)", the code of the last try to open. The caller closes the handle.
HANDLE connectServicePipe(std::string* error, DWORD timeoutMs,
                          const PipeSystem& system = PipeSystem::windows());

/// Each prints Russian lines to the console and returns the process exit code. There is no time-out while a
/// connected service does not answer.
/// Three attempts: 0 answered, 1 not reachable, 2 exchange failed, 3 reply not understood.
int runPingClient(const PipeSystem& system = PipeSystem::windows());
/// Polls for up to 120 s: 0 up to date or installer saved, 1 pipe not opened, 2 exchange failed or status not
/// understood, 3 check failed, 4 time-out.
int runUpdateCheckClient(const PipeSystem& system = PipeSystem::windows());
/// 0 listed, 1 pipe not opened, 2 exchange failed, 3 error or unintelligible.
int runFirewallClient(const PipeSystem& system = PipeSystem::windows());

}  // namespace korvel::ipc

// Creates the control pipe.
#pragma once

#include "base/win.h"
#include "server/server_calls.h"

namespace korvel::ipc {

/// One new instance of the service pipe, open to LocalSystem and to the built-in Users group. `openMode` is
/// CreateNamedPipeW's. INVALID_HANDLE_VALUE on failure, with the reason in GetLastError(). The caller owns
/// the handle. `calls` is for tests.
HANDLE createServerPipe(DWORD openMode, const ServerCalls& calls = ServerCalls::windows());

}  // namespace korvel::ipc

// The diagnostic clients --ping, --update-check and --fw, which talk to a running service.
#pragma once

#include <string>

#include "base/win.h"

namespace korvel::ipc {

/// Opens the service pipe, waiting in steps of 200 ms up to `timeoutMs` while it is busy or missing. Null on
/// failure with "cannot connect to service pipe (win32=<code>)". The caller closes the handle.
HANDLE connectServicePipe(std::string* error, DWORD timeoutMs);

/// Each prints Russian lines to the console and returns the process exit code.
int runPingClient();          ///< 0 answered, 1 not reachable, 2 exchange failed, 3 reply not understood
int runUpdateCheckClient();   ///< 0 up to date or saved, 1 pipe not opened, 2 exchange, 3 check failed, 4 time-out
int runFirewallClient();      ///< 0 listed, 1 pipe not opened, 2 exchange, 3 error or unintelligible

}  // namespace korvel::ipc

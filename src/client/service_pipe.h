// The client's end of the control pipe: connecting to the service and exchanging frames with it.
//
// Keeps no state between calls, so threads may work in parallel on their own pipes. `calls` is for tests.
#pragma once

#include <string>

#include "base/win.h"
#include "client/client_calls.h"
#include "protocol/frame.h"

namespace korvel::ipc {

/// Opens the service pipe, waiting in steps of 200 ms up to `timeoutMs` while it is busy. While the pipe does
/// not exist, each step returns at once, so without a service the call fails almost immediately. Null on
/// failure with "cannot connect to service pipe (win32=<code>)", the code of the last attempt to open. The
/// caller closes the handle.
HANDLE connectServicePipe(std::string* error, DWORD timeoutMs,
                          const ClientCalls& calls = ClientCalls::windows());

/// Sends one request and reads its reply over the synchronous handle, without a time-out. False with a text
/// in `error` (may be null): "payload too large" (nothing was sent), the texts of decodeFrameHeader(), and
/// "WriteFile failed", "ReadFile failed" and "connection closed", all three with " (win32=<code>)" appended.
/// Throws std::bad_alloc when the reply does not fit into memory; the connection is then unusable.
bool transact(HANDLE pipe, const Frame& request, Frame* reply, std::string* error,
              const ClientCalls& calls = ClientCalls::windows());

}  // namespace korvel::ipc

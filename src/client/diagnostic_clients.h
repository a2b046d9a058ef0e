// The diagnostic clients --ping, --update-check and --fw, which query a running service and print Russian
// lines to the console.
//
// Each returns the process exit code. Waiting for the reply of a connected service has no time-out. `calls`
// is for tests. None of these functions is thread-safe: they share the console.
#pragma once

#include "client/client_calls.h"

namespace korvel::ipc {

/// Tries three times to connect: 0 answered, 1 not reachable, 2 exchange failed, 3 reply not understood.
int runPingClient(const ClientCalls& calls = ClientCalls::windows());
/// Polls for up to 120 s: 0 up to date or installer saved, 1 pipe not opened, 2 exchange failed or status not
/// understood, 3 check failed, 4 time-out.
int runUpdateCheckClient(const ClientCalls& calls = ClientCalls::windows());
/// 0 listed, 1 pipe not opened, 2 exchange failed, 3 reply is an error or not understood.
int runFirewallClient(const ClientCalls& calls = ClientCalls::windows());

}  // namespace korvel::ipc

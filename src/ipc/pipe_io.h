// Frames over a named pipe: the server's overlapped, stop-aware transfers and the client's plain exchange.
//
// Every function returns false with a text in `error` (may be null) and the cause in GetLastError(). No state
// is kept between calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/win.h"

namespace korvel::ipc {

/// One new instance of the service pipe, open to LocalSystem and to the built-in Users group. `openMode` is
/// CreateNamedPipeW's. INVALID_HANDLE_VALUE on failure. The caller owns the handle.
HANDLE createServerPipe(DWORD openMode);

/// Transfers exactly `n` bytes in chunks of at most 64 KiB. `pipe` was opened for overlapped I/O; a signalled
/// `stopEvent` ends the transfer with "stopping". 0 bytes succeed at once.
bool readExact(HANDLE pipe, void* buffer, size_t n, HANDLE stopEvent, std::string* error);
bool writeExact(HANDLE pipe, const void* buffer, size_t n, HANDLE stopEvent, std::string* error);

/// Server side: one frame. After a bad header nothing is skipped and the connection is unusable.
bool readFrame(HANDLE pipe, HANDLE stopEvent, uint32_t* opcode, std::string* payload, std::string* error);
bool writeFrame(HANDLE pipe, HANDLE stopEvent, uint32_t opcode, const std::string& payload, std::string* error);

/// Client side: sends one request and reads its reply over a synchronous handle, without a time-out.
bool transact(HANDLE pipe, uint32_t opcode, const std::string& request, uint32_t* replyOpcode, std::string* reply,
              std::string* error);

}  // namespace korvel::ipc

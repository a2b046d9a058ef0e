// Frames over a named pipe: the server's overlapped, stop-aware transfers and the client's plain exchange.
//
// The transfers return false with a text in `error` (may be null); where a system call failed, its code is in
// GetLastError(). No state is kept between calls, so different pipes may be served by different threads.
// Reading throws std::bad_alloc when a payload does not fit into memory; the connection is then unusable.
// `system` is for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/win.h"
#include "ipc/pipe_system.h"

namespace korvel::ipc {

/// One new instance of the service pipe, open to LocalSystem and to the built-in Users group. `openMode` is
/// CreateNamedPipeW's. INVALID_HANDLE_VALUE on failure, the cause in GetLastError(). The caller owns the
/// handle.
HANDLE createServerPipe(DWORD openMode, const PipeSystem& system = PipeSystem::windows());

/// Transfers exactly `n` bytes in chunks of at most 64 KiB. `pipe` was opened for overlapped I/O; a signalled
/// `stopEvent` (any waitable object) ends the transfer with "stopping" and last error 995. 0 bytes succeed at
/// once. Other failures: "CreateEvent failed", "ReadFile failed" and "WriteFile failed" with "
/// (win32=<code>)" appended, and plain "connection closed" when a chunk completes with no bytes. When the
/// functions return, no transfer is pending any more.
bool readExact(HANDLE pipe, void* buffer, size_t n, HANDLE stopEvent, std::string* error,
               const PipeSystem& system = PipeSystem::windows());
bool writeExact(HANDLE pipe, const void* buffer, size_t n, HANDLE stopEvent, std::string* error,
                const PipeSystem& system = PipeSystem::windows());

/// Server side: one frame. Besides the failures of readExact() those of decodeFrameHeader(); after these
/// nothing is skipped and the connection is unusable. Clears the last error first, so that it tells of this
/// frame alone. Memory for the payload grows with the bytes that arrive, not with the length that the peer
/// declares.
bool readFrame(HANDLE pipe, HANDLE stopEvent, uint32_t* opcode, std::string* payload, std::string* error,
               const PipeSystem& system = PipeSystem::windows());
/// "payload too large" above kMaxPayloadBytes, and then nothing was written.
bool writeFrame(HANDLE pipe, HANDLE stopEvent, uint32_t opcode, const std::string& payload,
                std::string* error, const PipeSystem& system = PipeSystem::windows());

/// Client side: sends one request and reads its reply over a synchronous handle, without a time-out.
/// Failures: "payload too large" (nothing was sent), those of decodeFrameHeader(), and "WriteFile failed",
/// "ReadFile failed" and "connection closed", all three with " (win32=<code>)" appended.
bool transact(HANDLE pipe, uint32_t opcode, const std::string& request, uint32_t* replyOpcode,
              std::string* reply, std::string* error, const PipeSystem& system = PipeSystem::windows());

}  // namespace korvel::ipc

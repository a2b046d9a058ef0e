// The service's end of one connection: reads and writes frames with overlapped I/O that a stop ends at once.
#pragma once

#include <cstddef>
#include <string>

#include "base/win.h"
#include "protocol/frame.h"
#include "server/server_calls.h"

namespace korvel::ipc {

/// How a transfer ended.
enum class Transfer {
  kDone,
  kStopped,  ///< the stop event was signalled first
  kClosed,   ///< the client has disconnected
  kFailed,   ///< anything else
};

/// Borrows the pipe, which must be open for overlapped I/O, and the stop event, which may be any waitable
/// object. `calls` is for tests. Not thread-safe; different ends may be used by different threads.
///
/// Every transfer that does not end with kDone leaves a text in `error` (may be null) and, if a system call
/// failed, its code in GetLastError(): "stopping" (995) after a stop, plain "connection closed" when a chunk
/// completes with no bytes, and "CreateEvent failed", "ReadFile failed" and "WriteFile failed" with
/// " (win32=<code>)" appended. When a call returns, no transfer is pending.
class PipeEnd {
 public:
  PipeEnd(HANDLE pipe, HANDLE stopEvent, const ServerCalls& calls = ServerCalls::windows())
      : pipe_(pipe), stopEvent_(stopEvent), calls_(calls) {}

  /// Transfers exactly `n` bytes in chunks of at most 64 KiB. 0 bytes succeed at once.
  Transfer readExact(void* buffer, size_t n, std::string* error) const;
  Transfer writeExact(const void* buffer, size_t n, std::string* error) const;

  /// Reads one frame. Also fails with the texts of decodeFrameHeader(); the connection is then unusable,
  /// because the payload is not skipped. Clears the last error first, so that it refers to this frame only.
  /// Memory for the payload grows with the bytes that arrive, not with the length that the peer declares.
  /// Throws std::bad_alloc when the payload does not fit into memory; the connection is then unusable.
  Transfer readFrame(Frame* frame, std::string* error) const;
  /// Writes one frame. Also fails with "payload too large" above kMaxPayloadBytes; nothing is written then.
  Transfer writeFrame(const Frame& frame, std::string* error) const;

 private:
  template <typename Start>
  Transfer transferExact(size_t n, const char* failedText, std::string* error, Start start) const;
  bool awaitChunk(OVERLAPPED* overlapped, DWORD* transferred) const;
  void cancelAndWait(OVERLAPPED* overlapped) const;

  const HANDLE pipe_;
  const HANDLE stopEvent_;
  const ServerCalls& calls_;
};

}  // namespace korvel::ipc

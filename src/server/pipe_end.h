// The service's end of one connection: frames over overlapped transfers that a stop ends at once.
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
  kClosed,   ///< the client has gone
  kFailed,   ///< anything else
};

/// Borrows the pipe, which was opened for overlapped I/O, and the stop event, which may be any waitable
/// object. `calls` is for tests. Not thread-safe; different ends may be served by different threads.
///
/// Every transfer that is not done leaves a text in `error` (may be null) and, where a system call failed,
/// its code in GetLastError(): "stopping" (995) after a stop, plain "connection closed" when a chunk
/// completes with no bytes, and "CreateEvent failed", "ReadFile failed" and "WriteFile failed" with "
/// (win32=<code>)" appended. No transfer is pending any more when a call returns.
class PipeEnd {
 public:
  PipeEnd(HANDLE pipe, HANDLE stopEvent, const ServerCalls& calls = ServerCalls::windows())
      : pipe_(pipe), stopEvent_(stopEvent), calls_(calls) {}

  /// Transfers exactly `n` bytes in chunks of at most 64 KiB. 0 bytes succeed at once.
  Transfer readExact(void* buffer, size_t n, std::string* error) const;
  Transfer writeExact(const void* buffer, size_t n, std::string* error) const;

  /// One frame. Fails besides with the texts of decodeFrameHeader(); after these nothing is skipped and the
  /// connection is unusable. Clears the last error first, so that it speaks of this frame alone. Memory for
  /// the payload grows with the bytes that arrive, not with the length that the peer declares. Throws
  /// std::bad_alloc when the payload does not fit; the connection is then unusable.
  Transfer readFrame(Frame* frame, std::string* error) const;
  /// "payload too large" above kMaxPayloadBytes, and then nothing was written.
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

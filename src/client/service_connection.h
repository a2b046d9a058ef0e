// A connection to the service whose exchanges end in time: the pipe is opened for overlapped input and
// output, and an exchange that takes too long is cancelled. Not thread-safe; each thread uses its own.
#pragma once

#include <string>

#include "base/unique_resource.h"
#include "base/win.h"
#include "protocol/frame.h"

namespace korvel::ipc {

/// How connecting or an exchange ended.
enum class ExchangeResult {
  kOk,
  kNotFound,   ///< there is no such pipe
  kBusy,       ///< another client holds it
  kDenied,     ///< the caller may not open it
  kNoPipe,     ///< it cannot be opened for another reason
  kTooLarge,   ///< the request was not sent: its payload is beyond the limit
  kTimeout,    ///< the reply did not come in time; the connection is closed
  kClosed,     ///< the service closed the connection, or it broke
  kMalformed,  ///< the reply is no frame; the connection is closed
};

/// Whether the request may have reached the service when an exchange ends so.
constexpr bool mayHaveArrived(ExchangeResult result) {
  return result == ExchangeResult::kTimeout || result == ExchangeResult::kClosed ||
         result == ExchangeResult::kMalformed;
}

class ServiceConnection {
 public:
  ServiceConnection() = default;

  /// Tries to open the pipe once. `code` (may be null) gets the Win32 code of a failure.
  ExchangeResult tryOpen(const std::wstring& pipeName, DWORD* code);
  bool isOpen() const { return static_cast<bool>(pipe_); }
  void close() { pipe_.reset(); }

  /// Sends one request and reads its reply, all within `timeoutMs`. After any result but kOk and kTooLarge
  /// the connection is closed. `error` (may be null) gets a text of transact() and the Win32 code of the
  /// failure, 0 where there is none; for kMalformed also the first bytes of the reply in hexadecimal.
  /// Throws std::bad_alloc when the reply does not fit into memory.
  struct Error {
    std::string text;
    DWORD code = 0;
  };
  ExchangeResult exchange(const Frame& request, Frame* reply, DWORD timeoutMs, Error* error);

 private:
  bool transfer(bool write, void* buffer, size_t bytes);
  ExchangeResult ended(ExchangeResult result, const std::string& text, DWORD code, Error* error);

  UniqueHandle pipe_;
  UniqueHandle done_;         ///< manual-reset event of the transfer under way
  ULONGLONG deadlineMs_ = 0;  ///< tick at which the exchange has to end
  bool timedOut_ = false;
  DWORD code_ = 0;  ///< of the last failed transfer
};

}  // namespace korvel::ipc

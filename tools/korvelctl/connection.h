// One exchange with the service: connect, ask, disconnect. The service serves one client at a time, so a
// connection lasts for one request only. Thread-safe.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "korvelctl/exit_codes.h"
#include "protocol/messages.h"

namespace korvel::ctl {

/// Ends the command with this exit code and, on the error output, this text (UTF-8).
class Failure : public std::runtime_error {
 public:
  Failure(int exitCode, const std::string& text) : std::runtime_error(text), exitCode_(exitCode) {}
  int exitCode() const { return exitCode_; }

 private:
  int exitCode_;
};

/// The payload of the reply. Throws Failure: kExitUnreachable when the pipe cannot be opened, kExitRefused
/// with the service's text when it replies with an error, kExitProtocol in every other case.
std::string ask(ipc::Opcode opcode, const std::string& request = {});

/// The decoded payload. Throws Failure with kExitProtocol when decoding failed.
template <typename T>
T understood(std::optional<T> decoded) {
  if (!decoded) throw Failure(kExitProtocol, "the service's reply was not understood");
  return std::move(*decoded);
}

}  // namespace korvel::ctl

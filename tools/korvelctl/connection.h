// One exchange with the service: connect, ask, disconnect. The service serves one client at a time, so nobody
// stays connected longer than one request takes. Thread-safe.
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

/// The payload of the reply. Throws Failure: kExitUnreachable without a service, kExitRefused with the
/// service's own text when it answers with an error, kExitProtocol for everything else.
std::string ask(ipc::Opcode opcode, const std::string& request = {});

/// The decoded reply of a request whose payload does not decode is protocol trouble.
template <typename T>
T understood(std::optional<T> decoded) {
  if (!decoded) throw Failure(kExitProtocol, "the service's reply was not understood");
  return std::move(*decoded);
}

}  // namespace korvel::ctl

// The service as commands see it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "korvelctl/cli/failure.h"
#include "korvelctl/cli/text.h"
#include "protocol/frame.h"
#include "protocol/messages.h"

namespace korvel::ctl {

/// One connection at a time, opened by the first request and kept until letGo(). Not thread-safe.
class Service {
 public:
  virtual ~Service() = default;

  /// The payload of the reply. Throws Failure: one of the kinds about connecting, kRefused with the service's
  /// text when it replies with an error, kTimeout, kProtocol when the reply is none, and kLost when the
  /// connection broke after it was made.
  virtual std::string ask(ipc::Opcode opcode, const std::string& request = {}) = 0;

  /// The whole reply, also a refusal or one with another opcode; for those who look at bytes. Throws Failure
  /// as ask() does, but for kRefused and kProtocol where the reply is a frame.
  virtual ipc::Frame exchange(const ipc::Frame& request) = 0;

  /// Ends the connection, so that another client gets its turn.
  virtual void letGo() = 0;

  /// For a command that asks again and again: keeps the connection for at most 5 s, then lets go and waits
  /// for 300 ms.
  virtual void breathe() = 0;

  /// How long connecting may take from now on, instead of the time that the command line gives.
  virtual void setPatience(uint64_t seconds) = 0;

  /// Of the texts in its failures.
  virtual Language language() const = 0;
};

/// The failure of a reply that cannot be decoded; names the request, the length and the first bytes.
Failure notUnderstood(const Service& service, ipc::Opcode opcode, const std::string& payload);

/// Asks and decodes the reply with `decode`, a function of protocol/messages.h. Throws Failure as ask() does.
template <typename Decode>
auto askFor(Service& service, ipc::Opcode opcode, const Decode& decode, const std::string& request = {}) {
  const std::string payload = service.ask(opcode, request);
  auto decoded = decode(payload);
  if (!decoded) throw notUnderstood(service, opcode, payload);
  return std::move(*decoded);
}

inline EngineStatus askStatus(Service& service) {
  return askFor(service, ipc::Opcode::kGetStatus, ipc::decodeStatus);
}
inline SettingsFields askSettings(Service& service) {
  return askFor(service, ipc::Opcode::kGetConfig,
                [](const std::string& payload) { return ipc::decodeSettings(payload); });
}
inline ScanReport askProgress(Service& service) {
  return askFor(service, ipc::Opcode::kGetProgress, ipc::decodeProgress);
}
inline std::vector<ThreatRecord> askResults(Service& service) {
  return askFor(service, ipc::Opcode::kGetResults, ipc::decodeResults);
}
inline std::vector<QuarantineRecord> askQuarantine(Service& service) {
  return askFor(service, ipc::Opcode::kListQuarantine, ipc::decodeQuarantineList);
}

}  // namespace korvel::ctl

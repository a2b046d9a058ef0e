// Payloads of replies: progress, status, detections, the quarantine list, numbers and firewall changes.
#include "protocol/frame.h"
#include "protocol/messages.h"
#include "protocol/record_codec.h"

namespace korvel::ipc {

std::string encodeProgress(const ScanReport& report, size_t* eventsTaken) {
  PayloadWriter fields;
  put(fields, report.progress);
  put(fields, report.scanning);
  put(fields, report.lastSummary);
  const size_t used = fields.bytes().size() + sizeof(uint32_t);  // the count of events
  const size_t room = used < kMaxPayloadBytes ? kMaxPayloadBytes - used : 0;

  PayloadWriter events;
  size_t taken = 0;
  size_t takenBytes = 0;
  for (const ThreatEvent& event : report.events) {
    put(events, event);
    if (events.bytes().size() > room) break;
    takenBytes = events.bytes().size();
    ++taken;
  }
  fields.putU32(static_cast<uint32_t>(taken));
  *eventsTaken = taken;
  std::string payload = fields.take();
  payload.append(events.bytes(), 0, takenBytes);
  return payload;
}

std::optional<ScanReport> decodeProgress(const std::string& payload) { return decoded<ScanReport>(payload); }

std::string encodeStatus(const EngineStatus& status) { return encoded(status); }
std::optional<EngineStatus> decodeStatus(const std::string& payload) {
  return decoded<EngineStatus>(payload);
}

std::string encodeResults(const std::vector<ThreatRecord>& results) { return encoded(results); }
std::optional<std::vector<ThreatRecord>> decodeResults(const std::string& payload) {
  return decoded<std::vector<ThreatRecord>>(payload);
}

std::string encodeQuarantineList(const std::vector<QuarantineRecord>& records) { return encoded(records); }
std::optional<std::vector<QuarantineRecord>> decodeQuarantineList(const std::string& payload) {
  return decoded<std::vector<QuarantineRecord>>(payload);
}

std::string encodeNumber(uint32_t value) { return encoded(value); }
std::optional<uint32_t> decodeNumber(const std::string& payload) { return decoded<uint32_t>(payload); }

std::string encodeTickCount(uint64_t milliseconds) {
  return encodeNumber(static_cast<uint32_t>(milliseconds));
}

std::string encodeFirewallChange(const FirewallChangeReply& reply) { return encoded(reply); }
std::optional<FirewallChangeReply> decodeFirewallChange(const std::string& payload) {
  return decoded<FirewallChangeReply>(payload);
}

}  // namespace korvel::ipc

// What the service answers: progress, status, detections, the quarantine list, numbers and firewall changes.
#include "ipc/frame.h"
#include "ipc/message_lists.h"
#include "ipc/messages.h"
#include "ipc/payload.h"

namespace korvel::ipc {
namespace {

// The bytes of an element whose texts and lists are all empty.
constexpr size_t kLeastTextBytes = 4;
constexpr size_t kLeastEventBytes = 3 * kLeastTextBytes + 4 + 8;
constexpr size_t kLeastFindingBytes = 4 + 3 * kLeastTextBytes;
constexpr size_t kLeastThreatBytes = kLeastEventBytes + kLeastTextBytes + 4 + 4;
constexpr size_t kLeastQuarantineBytes = 8 + 4 * kLeastTextBytes + 4 + 8 + 8 + 4;

void putEvent(PayloadWriter& writer, const svc::ThreatRecord& threat) {
  writer.putWString(threat.path);
  writer.putString(threat.name);
  writer.putString(threat.code);
  writer.putU32(static_cast<uint32_t>(threat.severity));
  writer.putU64(threat.size);
}

svc::ThreatRecord getEvent(PayloadReader& reader) {
  svc::ThreatRecord threat;
  threat.path = reader.getWString();
  threat.name = reader.getString();
  threat.code = reader.getString();
  threat.severity = static_cast<Severity>(reader.getU32());
  threat.size = reader.getU64();
  return threat;
}

void putFinding(PayloadWriter& writer, const Finding& finding) {
  writer.putU32(static_cast<uint32_t>(finding.severity));
  writer.putString(finding.code);
  writer.putString(finding.title);
  writer.putString(finding.detail);
}

Finding getFinding(PayloadReader& reader) {
  Finding finding;
  finding.severity = static_cast<Severity>(reader.getU32());
  finding.code = reader.getString();
  finding.title = reader.getString();
  finding.detail = reader.getString();
  return finding;
}

void putThreat(PayloadWriter& writer, const svc::ThreatRecord& threat) {
  putEvent(writer, threat);
  writer.putString(threat.sha256);
  putList(writer, threat.reasons, putFinding);
  putList(writer, threat.labels, [](PayloadWriter& to, const std::string& label) { to.putString(label); });
}

svc::ThreatRecord getThreat(PayloadReader& reader) {
  svc::ThreatRecord threat = getEvent(reader);
  threat.sha256 = reader.getString();
  threat.reasons = getList<Finding>(reader, kLeastFindingBytes, getFinding);
  threat.labels =
      getList<std::string>(reader, kLeastTextBytes, [](PayloadReader& from) { return from.getString(); });
  return threat;
}

void putQuarantined(PayloadWriter& writer, const QuarantineRecord& record) {
  writer.putU64(record.id);
  writer.putWString(record.originalPath);
  writer.putWString(record.storedPath);
  writer.putString(record.threat);
  writer.putString(record.code);
  writer.putU32(static_cast<uint32_t>(record.severity));
  writer.putU64(record.size);
  writer.putU64(record.time);
  writer.putBool(record.storedFileExists);
}

QuarantineRecord getQuarantined(PayloadReader& reader) {
  QuarantineRecord record;
  record.id = reader.getU64();
  record.originalPath = reader.getWString();
  record.storedPath = reader.getWString();
  record.threat = reader.getString();
  record.code = reader.getString();
  record.severity = static_cast<Severity>(reader.getU32());
  record.size = reader.getU64();
  record.time = reader.getU64();
  record.storedFileExists = reader.getBool();
  return record;
}

void putProgress(PayloadWriter& writer, const ProgressReply& reply) {
  writer.putU64(reply.progress.filesDone);
  writer.putU64(reply.progress.filesTotal);
  writer.putU64(reply.progress.bytesDone);
  writer.putU64(reply.progress.bytesTotal);
  writer.putWString(reply.progress.currentPath);
  writer.putWString(reply.progress.phase);
  writer.putBool(reply.scanning);
  writer.putU64(reply.lastSummary.filesScanned);
  writer.putU64(reply.lastSummary.threats);
  writer.putU64(reply.lastSummary.suspicious);
  writer.putU64(reply.lastSummary.bytesScanned);
  writer.putU64(reply.lastSummary.elapsedMs);
  writer.putBool(reply.lastSummary.cancelled);
}

}  // namespace

std::string encodeProgress(const ProgressReply& reply, size_t* eventsTaken) {
  PayloadWriter fields;
  putProgress(fields, reply);
  const size_t used = fields.bytes().size() + sizeof(uint32_t);  // the count of the list
  const size_t room = used < kMaxPayloadBytes ? kMaxPayloadBytes - used : 0;

  PayloadWriter events;
  size_t taken = 0;
  size_t takenBytes = 0;
  for (const svc::ThreatRecord& event : reply.events) {
    putEvent(events, event);
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

std::optional<ProgressReply> decodeProgress(const std::string& payload) {
  PayloadReader reader(payload);
  ProgressReply reply;
  reply.progress.filesDone = reader.getU64();
  reply.progress.filesTotal = reader.getU64();
  reply.progress.bytesDone = reader.getU64();
  reply.progress.bytesTotal = reader.getU64();
  reply.progress.currentPath = reader.getWString();
  reply.progress.phase = reader.getWString();
  reply.scanning = reader.getBool();
  reply.lastSummary.filesScanned = reader.getU64();
  reply.lastSummary.threats = reader.getU64();
  reply.lastSummary.suspicious = reader.getU64();
  reply.lastSummary.bytesScanned = reader.getU64();
  reply.lastSummary.elapsedMs = reader.getU64();
  reply.lastSummary.cancelled = reader.getBool();
  reply.events = getList<svc::ThreatRecord>(reader, kLeastEventBytes, getEvent);
  if (!reader.ok()) return std::nullopt;
  return reply;
}

std::string encodeStatus(const svc::EngineStatus& status) {
  PayloadWriter writer;
  writer.putString(status.serviceVersion);
  writer.putU64(status.signatureCount);
  writer.putString(status.signatureVersion);
  writer.putBool(status.protectionEnabled);
  writer.putBool(status.realTimeActive);
  writer.putBool(status.minifilterConnected);
  writer.putBool(status.scanRunning);
  writer.putBool(status.updateCheckRunning);
  writer.putString(status.updateCheckError);
  writer.putU64(status.minifilterHandled);
  writer.putBool(status.liveUpdateRunning);
  writer.putString(status.updateCheckInstaller);
  return writer.take();
}

std::optional<svc::EngineStatus> decodeStatus(const std::string& payload) {
  PayloadReader reader(payload);
  svc::EngineStatus status;
  status.serviceVersion = reader.getString();
  status.signatureCount = reader.getU64();
  status.signatureVersion = reader.getString();
  status.protectionEnabled = reader.getBool();
  status.realTimeActive = reader.getBool();
  status.minifilterConnected = reader.getBool();
  status.scanRunning = reader.getBool();
  status.updateCheckRunning = reader.getBool();
  status.updateCheckError = reader.getString();
  status.minifilterHandled = reader.getU64();
  status.liveUpdateRunning = reader.getBool();
  status.updateCheckInstaller = reader.getString();
  if (!reader.ok()) return std::nullopt;
  return status;
}

std::string encodeResults(const std::vector<svc::ThreatRecord>& results) {
  PayloadWriter writer;
  putList(writer, results, putThreat);
  return writer.take();
}

std::optional<std::vector<svc::ThreatRecord>> decodeResults(const std::string& payload) {
  PayloadReader reader(payload);
  auto results = getList<svc::ThreatRecord>(reader, kLeastThreatBytes, getThreat);
  if (!reader.ok()) return std::nullopt;
  return results;
}

std::string encodeQuarantineList(const std::vector<QuarantineRecord>& records) {
  PayloadWriter writer;
  putList(writer, records, putQuarantined);
  return writer.take();
}

std::optional<std::vector<QuarantineRecord>> decodeQuarantineList(const std::string& payload) {
  PayloadReader reader(payload);
  auto records = getList<QuarantineRecord>(reader, kLeastQuarantineBytes, getQuarantined);
  if (!reader.ok()) return std::nullopt;
  return records;
}

std::string encodeNumber(uint32_t value) {
  PayloadWriter writer;
  writer.putU32(value);
  return writer.take();
}

std::optional<uint32_t> decodeNumber(const std::string& payload) {
  PayloadReader reader(payload);
  const uint32_t value = reader.getU32();
  if (!reader.ok()) return std::nullopt;
  return value;
}

std::string encodeFirewallChange(const FirewallChangeReply& reply) {
  PayloadWriter writer;
  writer.putBool(reply.ok);
  writer.putString(reply.text);
  return writer.take();
}

std::optional<FirewallChangeReply> decodeFirewallChange(const std::string& payload) {
  PayloadReader reader(payload);
  FirewallChangeReply reply;
  reply.ok = reader.getBool();
  reply.text = reader.getString();
  if (!reader.ok()) return std::nullopt;
  return reply;
}

}  // namespace korvel::ipc

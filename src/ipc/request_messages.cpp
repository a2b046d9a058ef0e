// What a client may send: scans, decisions, quarantine ids, settings and single texts.
#include "ipc/message_lists.h"
#include "ipc/messages.h"
#include "ipc/payload.h"

namespace korvel::ipc {
namespace {

constexpr size_t kLeastTextBytes = 4;  // the count of an empty text
constexpr uint32_t kHoursPerDay = 24;

}  // namespace

std::string encodeStartScan(const StartScanRequest& request) {
  PayloadWriter writer;
  writer.putU32(static_cast<uint32_t>(request.scope));
  putList(writer, request.targets, [](PayloadWriter& to, const std::wstring& path) { to.putWString(path); });
  return writer.take();
}

std::optional<StartScanRequest> decodeStartScan(const std::string& payload) {
  PayloadReader reader(payload);
  StartScanRequest request;
  request.scope = static_cast<svc::ScanScope>(reader.getU32());
  // The limit is tested before any target is read.
  if (PayloadReader ahead = reader; ahead.getU32() > kMaxScanTargets) return std::nullopt;
  request.targets =
      getList<std::wstring>(reader, kLeastTextBytes, [](PayloadReader& from) { return from.getWString(); });
  if (!reader.ok()) return std::nullopt;
  return request;
}

std::string encodeThreatDecision(const ThreatDecisionRequest& request) {
  PayloadWriter writer;
  writer.putWString(request.threat.path);
  writer.putU32(request.action);
  writer.putString(request.threat.name);
  writer.putString(request.threat.code);
  writer.putU32(static_cast<uint32_t>(request.threat.severity));
  writer.putU64(request.threat.size);
  writer.putString(request.threat.sha256);
  return writer.take();
}

std::optional<ThreatDecisionRequest> decodeThreatDecision(const std::string& payload) {
  PayloadReader reader(payload);
  ThreatDecisionRequest request;
  request.threat.path = reader.getWString();
  request.action = reader.getU32();
  request.threat.name = reader.getString();
  request.threat.code = reader.getString();
  request.threat.severity = static_cast<Severity>(reader.getU32());
  request.threat.size = reader.getU64();
  request.threat.sha256 = reader.getString();
  if (!reader.ok()) return std::nullopt;
  return request;
}

std::string encodeQuarantineId(uint64_t id) {
  PayloadWriter writer;
  writer.putU64(id);
  return writer.take();
}

std::optional<uint64_t> decodeQuarantineId(const std::string& payload) {
  PayloadReader reader(payload);
  const uint64_t id = reader.getU64();
  if (!reader.ok()) return std::nullopt;
  return id;
}

std::string encodeSettings(const Settings& settings) {
  PayloadWriter writer;
  writer.putBool(settings.protectionEnabled);
  writer.putBool(settings.realTimeEnabled);
  writer.putBool(settings.scanArchives);
  writer.putBool(settings.scanRemovable);
  writer.putBool(settings.showThreatModal);
  writer.putBool(settings.quarantineOnDetect);
  writer.putBool(settings.scheduledScan);
  writer.putU32(settings.scheduledHour);
  writer.putU64(settings.lastScanUtc);
  writer.putU64(settings.lastThreatCount);
  writer.putWString(settings.signatureDb);
  writer.putWString(settings.quarantineDir);
  writer.putBool(settings.liveUpdates);
  writer.putU64(settings.lastLiveUpdateUtc);
  writer.putBool(settings.webShield);
  return writer.take();
}

std::optional<Settings> decodeSettings(const std::string& payload, Settings base) {
  PayloadReader reader(payload);
  base.protectionEnabled = reader.getBool();
  base.realTimeEnabled = reader.getBool();
  base.scanArchives = reader.getBool();
  base.scanRemovable = reader.getBool();
  base.showThreatModal = reader.getBool();
  base.quarantineOnDetect = reader.getBool();
  base.scheduledScan = reader.getBool();
  base.scheduledHour = reader.getU32() % kHoursPerDay;
  base.lastScanUtc = reader.getU64();
  base.lastThreatCount = reader.getU64();
  base.signatureDb = reader.getWString();
  base.quarantineDir = reader.getWString();
  base.liveUpdates = reader.getBool();
  base.lastLiveUpdateUtc = reader.getU64();
  base.webShield = reader.getBool();
  if (!reader.ok()) return std::nullopt;
  return base;
}

std::string encodeText(const std::string& text) {
  PayloadWriter writer;
  writer.putString(text);
  return writer.take();
}

std::optional<std::string> decodeText(const std::string& payload) {
  PayloadReader reader(payload);
  std::string text = reader.getString();
  if (!reader.ok()) return std::nullopt;
  return text;
}

}  // namespace korvel::ipc

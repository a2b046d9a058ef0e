// Payloads of requests: scans, decisions, quarantine ids, settings and single texts.
#include <string_view>
#include <variant>

#include "protocol/messages.h"
#include "protocol/record_codec.h"
#include "records/settings_keys.h"

namespace korvel::ipc {
namespace {

/// Whether a path takes one line of a text file.
bool fitsALine(const std::wstring& path) {
  using namespace std::string_view_literals;
  return path.find_first_of(L"\n\0"sv) == std::wstring::npos;
}

}  // namespace

std::string encodeStartScan(const StartScanRequest& request) {
  PayloadWriter writer;
  writer.putU32(static_cast<uint32_t>(request.scope));
  put(writer, request.targets);
  return writer.take();
}

std::optional<StartScanRequest> decodeStartScan(const std::string& payload) {
  PayloadReader reader(payload);
  StartScanRequest request;
  request.scope = static_cast<ScanScope>(reader.getU32());
  // Test the limit before reading any target.
  if (PayloadReader ahead = reader; ahead.getU32() > kMaxScanTargets) return std::nullopt;
  get(reader, request.targets);
  if (!reader.ok()) return std::nullopt;
  return request;
}

std::string encodeThreatDecision(const ThreatDecisionRequest& request) { return encoded(request); }
std::optional<ThreatDecisionRequest> decodeThreatDecision(const std::string& payload) {
  return decoded<ThreatDecisionRequest>(payload);
}

std::string encodeQuarantineId(uint64_t id) { return encoded(id); }
std::optional<uint64_t> decodeQuarantineId(const std::string& payload) { return decoded<uint64_t>(payload); }

std::string encodeSettings(const SettingsFields& settings) {
  PayloadWriter writer;
  for (const SettingKey& setting : kPipedSettings) {
    std::visit([&](auto field) { put(writer, settings.*field); }, setting.field);
  }
  return writer.take();
}

std::optional<SettingsFields> decodeSettings(const std::string& payload, SettingsFields base) {
  PayloadReader reader(payload);
  for (const SettingKey& setting : kPipedSettings) {
    std::visit([&](auto field) { get(reader, base.*field); }, setting.field);
  }
  if (!reader.ok()) return std::nullopt;
  base.scheduledHour %= kHoursPerDay;
  return base;
}

std::optional<SettingsFields> decodeSetConfig(const std::string& payload) {
  std::optional<SettingsFields> settings = decodeSettings(payload);
  if (settings && !(fitsALine(settings->signatureDb) && fitsALine(settings->quarantineDir))) settings.reset();
  return settings;
}

std::string encodeText(const std::string& text) { return encoded(text); }
std::optional<std::string> decodeText(const std::string& payload) { return decoded<std::string>(payload); }

}  // namespace korvel::ipc

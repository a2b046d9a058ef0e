// Encoders and decoders of every request and reply payload. Pure and thread-safe.
//
// Decoders ignore trailing bytes and return std::nullopt for malformed input. A decoder never allocates more
// than a small multiple of the payload's size.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/engine_status.h"
#include "records/quarantine_record.h"
#include "records/scan_progress.h"
#include "records/scan_scope.h"
#include "records/settings_fields.h"
#include "records/threat_record.h"

namespace korvel::ipc {

enum class Opcode : uint32_t {
  kGetStatus = 1,
  kPing = 2,
  kStartScan = 3,
  kGetProgress = 4,
  kCancelScan = 5,
  kGetResults = 6,
  kThreatDecision = 7,
  kListQuarantine = 8,
  kDeleteQuarantined = 9,
  kRestoreQuarantined = 10,
  kGetConfig = 11,
  kSetConfig = 12,
  kReloadSignatures = 13,
  kStartLiveUpdate = 14,
  kStartUpdateCheck = 15,
  kFirewallStatus = 16,
  kFirewallSetProfile = 17,
  kFirewallBlockInbound = 18,
  kFirewallAddRule = 19,
  kFirewallRemoveRules = 20,
  kStopService = 21,
};
inline constexpr uint32_t kLastOpcode = 21;
/// The reply opcode of every refused or failed request. The payload is the error text as one string, or empty
/// when there is none.
inline constexpr uint32_t kErrorOpcode = 0xFFFFFFFF;
inline constexpr uint32_t kMaxScanTargets = 100'000;

struct StartScanRequest {
  ScanScope scope = ScanScope::kQuick;
  std::vector<std::wstring> targets;
  bool operator==(const StartScanRequest&) const = default;
};
std::string encodeStartScan(const StartScanRequest& request);
std::optional<StartScanRequest> decodeStartScan(const std::string& payload);

inline constexpr uint32_t kActionQuarantine = 1;
inline constexpr uint32_t kActionDelete = 2;
struct ThreatDecisionRequest {
  uint32_t action = 0;
  ThreatRecord threat;  ///< its reasons and labels do not travel
  bool operator==(const ThreatDecisionRequest&) const = default;
};
std::string encodeThreatDecision(const ThreatDecisionRequest& request);
std::optional<ThreatDecisionRequest> decodeThreatDecision(const std::string& payload);

std::string encodeQuarantineId(uint64_t id);
std::optional<uint64_t> decodeQuarantineId(const std::string& payload);

/// Fifteen fields; updateServer does not travel.
std::string encodeSettings(const SettingsFields& settings);
/// Decodes over `base` and keeps its updateServer. The hour is taken modulo 24.
std::optional<SettingsFields> decodeSettings(const std::string& payload, SettingsFields base = {});
/// The settings that a client wants to have, over the defaults. A path with a line feed or a NUL is malformed
/// too: no line of settings.ini can hold it.
std::optional<SettingsFields> decodeSetConfig(const std::string& payload);

/// Encodes the report with as many of its first events as fit into one frame; `eventsTaken` is their number.
std::string encodeProgress(const ScanReport& report, size_t* eventsTaken);
std::optional<ScanReport> decodeProgress(const std::string& payload);

std::string encodeStatus(const EngineStatus& status);
std::optional<EngineStatus> decodeStatus(const std::string& payload);

std::string encodeResults(const std::vector<ThreatRecord>& results);
std::optional<std::vector<ThreatRecord>> decodeResults(const std::string& payload);

/// id, original path, stored path, threat name, rule code, severity, size, time and storedFileExists travel.
std::string encodeQuarantineList(const std::vector<QuarantineRecord>& records);
std::optional<std::vector<QuarantineRecord>> decodeQuarantineList(const std::string& payload);

std::string encodeText(const std::string& text);  ///< error texts and firewall arguments
std::optional<std::string> decodeText(const std::string& payload);

std::string encodeNumber(uint32_t value);  ///< start of an update: 1
std::optional<uint32_t> decodeNumber(const std::string& payload);
/// Ping: the low 32 bits of the milliseconds since the start of the system. Wraps after 49.7 days.
std::string encodeTickCount(uint64_t milliseconds);

struct FirewallChangeReply {
  bool ok = false;
  std::string text;  ///< empty when ok
};
std::string encodeFirewallChange(const FirewallChangeReply& reply);
std::optional<FirewallChangeReply> decodeFirewallChange(const std::string& payload);

}  // namespace korvel::ipc

// The service's records as JSON for other programs. Pure and thread-safe. Names are stable. Paths and texts
// are unchanged, because JSON is not meant for a terminal.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "records/engine_status.h"
#include "records/quarantine_record.h"
#include "records/scan_progress.h"
#include "records/settings_fields.h"
#include "records/threat_record.h"

namespace korvel::ctl {

nlohmann::ordered_json statusJson(const EngineStatus& status);
nlohmann::ordered_json shieldJson(const SettingsFields& settings, const EngineStatus& status);
/// An array; "number" counts from 1, as the commands that act on threats do.
nlohmann::ordered_json threatsJson(const std::vector<ThreatRecord>& threats);
nlohmann::ordered_json quarantineJson(const std::vector<QuarantineRecord>& records);
/// `state` is the final phase of the scan.
nlohmann::ordered_json scanJson(const std::wstring& state, const ScanSummary& summary,
                                const std::vector<ThreatRecord>& threats);

/// Indented by two blanks, LF at the end. Malformed UTF-8 becomes U+FFFD.
std::string dumpJson(const nlohmann::ordered_json& json);

}  // namespace korvel::ctl

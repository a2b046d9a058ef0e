// The service's records as JSON for other programs. Pure and thread-safe. Names are stable; paths and texts
// are given as they are, since a reader of JSON is not a terminal.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "config/settings.h"
#include "engine/engine_status.h"
#include "engine/threat_record.h"
#include "remedy/quarantine_record.h"
#include "scan/scan_records.h"

namespace korvel::ctl {

nlohmann::ordered_json statusJson(const svc::EngineStatus& status);
nlohmann::ordered_json shieldJson(const Settings& settings, const svc::EngineStatus& status);
/// An array; "number" counts from 1, as the commands that act on threats do.
nlohmann::ordered_json threatsJson(const std::vector<svc::ThreatRecord>& threats);
nlohmann::ordered_json quarantineJson(const std::vector<QuarantineRecord>& records);
/// `state` is the engine's name for how the scan ended.
nlohmann::ordered_json scanJson(const std::wstring& state, const ScanSummary& summary,
                                const std::vector<svc::ThreatRecord>& threats);

/// Indented by two blanks, LF at the end. Malformed UTF-8 becomes U+FFFD.
std::string dumpJson(const nlohmann::ordered_json& json);

}  // namespace korvel::ctl

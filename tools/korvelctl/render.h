// Formats the service's records as UTF-8 text for users. Pure and thread-safe. Every text that comes from
// files is made printable here. Whole texts end in LF unless stated otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "records/engine_status.h"
#include "records/quarantine_record.h"
#include "records/scan_progress.h"
#include "records/settings_fields.h"
#include "records/threat_record.h"

namespace korvel::ctl {

std::string renderStatus(const EngineStatus& status);

/// "N (VERSION)", or "none loaded". No line end.
std::string renderSignatures(const EngineStatus& status);

/// The web shield and the live updates: whether they are on, and how fresh the signatures are. The number of
/// blocked domains does not travel on the pipe.
std::string renderShield(const SettingsFields& settings, const EngineStatus& status);

/// A row per threat of at least severity `least`, with its reasons below it; a last line counts the others.
/// The numbers are those that the commands for threats take: they count all threats from 1, so the rows shown
/// may have gaps.
std::string renderThreats(const std::vector<ThreatRecord>& threats, Severity least);

std::string renderQuarantine(const std::vector<QuarantineRecord>& records);

/// "N files (SIZE) scanned in TIME: N threats, N suspicious, N listed".
std::string renderSummary(const ScanSummary& summary, size_t listed);

/// One line of at most `columns` characters, without a line end.
std::string renderProgress(const ScanProgressInfo& progress, size_t columns);

/// The share of the work that is done, 0 to 100, by bytes where they are known and by files otherwise.
int percentDone(const ScanProgressInfo& progress);

std::string renderBytes(uint64_t bytes);      ///< "512 B", "1.5 KiB", "3.0 GiB"
std::string renderMilliseconds(uint64_t ms);  ///< "1.5 s", "2 min 5 s"
std::string renderUtc(uint64_t unixSeconds);  ///< "2025-11-21 15:04:05 UTC"

}  // namespace korvel::ctl

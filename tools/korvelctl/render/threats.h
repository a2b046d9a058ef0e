// The list of results of the last scan. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "korvelctl/model/scan_report.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

struct ThreatList {
  ScanDocument document;  ///< its threats and events
  uint64_t lastScanUtc = 0;
  bool scanRuns = false;
  bool scanHasRun = false;  ///< since the service started
};

/// Rows of at least high severity, suspicious files in groups; with `all` each of them.
std::string renderThreats(const ThreatList& list, const Look& look, bool all);
nlohmann::ordered_json threatsJson(const ThreatList& list);

}  // namespace korvel::ctl

// The service's state for people and for scripts. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "korvelctl/model/health.h"
#include "korvelctl/render/look.h"
#include "records/engine_status.h"
#include "records/settings_fields.h"

namespace korvel::ctl {

struct StatusReport {
  EngineStatus status;
  SettingsFields settings;
  std::optional<std::string> updateServer;  ///< nothing where it cannot be read
  uint64_t roundTripMs = 0;
  uint64_t now = 0;  ///< Unix seconds
  std::vector<HealthProblem> problems;
};

std::string renderStatus(const StatusReport& report, const Look& look);
nlohmann::ordered_json statusJson(const StatusReport& report);

/// "214,906, database live-20261120, updated 9 h ago", or that none are loaded. No line end.
std::string signaturesText(const EngineStatus& status, const SettingsFields& settings, uint64_t now,
                           Language language);

}  // namespace korvel::ctl

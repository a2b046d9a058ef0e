// What is wrong with the protection, as far as the service's own words show it. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "korvelctl/cli/text.h"
#include "records/engine_status.h"
#include "records/settings_fields.h"

namespace korvel::ctl {

struct HealthProblem {
  const char* id;  ///< for scripts: "no_signatures"; ASCII, stable
  std::string message;
  std::string advice;
};

/// A database of this age is too old when live updates are on.
inline constexpr uint64_t kOldDatabaseSeconds = 3 * 86'400;

/// `now` is in Unix seconds. Empty when all is well.
std::vector<HealthProblem> healthProblems(const EngineStatus& status, const SettingsFields& settings,
                                          uint64_t now, Language language);

}  // namespace korvel::ctl

// What came of an update, told from the service's records. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "records/engine_status.h"

namespace korvel::ctl {

struct UpdateReport {
  std::string text;     ///< for people, ends in LF; empty after a failure
  std::string failure;  ///< empty after a success; UTF-8 as the service gave it
  nlohmann::ordered_json json;
};

/// `what` was begun and is not waited for.
UpdateReport startedReport(const std::string& what);

/// The service keeps the reason of a failed live update to itself; that it failed shows in the time of the
/// last update, which a successful one moves on from `before` to `after`.
UpdateReport signaturesReport(const EngineStatus& status, uint64_t before, uint64_t after);

UpdateReport programReport(const EngineStatus& status);

}  // namespace korvel::ctl

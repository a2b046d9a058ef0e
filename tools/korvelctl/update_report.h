// The outcome of an update, derived from the service's records. Pure and thread-safe.
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

/// The report on a job that was started and is not waited for; `what` is its text.
UpdateReport startedReport(const std::string& what);

/// The service does not report why a live update failed. A successful update changes the time of the last
/// update, so equal `before` and `after` mean that it failed.
UpdateReport signaturesReport(const EngineStatus& status, uint64_t before, uint64_t after);

UpdateReport programReport(const EngineStatus& status);

}  // namespace korvel::ctl

// The list of quarantined files. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "korvelctl/model/quarantine_check.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// `rows` are those to show; the rest of `check` says what is wrong besides.
std::string renderQuarantine(const QuarantineCheck& check, const std::vector<QuarantineRow>& rows,
                             const Look& look);
nlohmann::ordered_json quarantineJson(const QuarantineCheck& check, const std::vector<QuarantineRow>& rows);
nlohmann::ordered_json quarantineRowJson(const QuarantineRow& row);

}  // namespace korvel::ctl

// What 'quarantine verify' says, in every form. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "korvelctl/model/quarantine_check.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

nlohmann::ordered_json quarantineCheckJson(const QuarantineCheck& check);
std::string renderQuarantineCheck(const QuarantineCheck& check, const Look& look);

std::string storedStateText(StoredState state, Language language);
/// The files without a record, and what is wrong with the index; empty where all is well. Lines end in LF.
std::string quarantineWarnings(const QuarantineCheck& check, const Look& look);

}  // namespace korvel::ctl

// What 'shield status' says, in every form. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "korvelctl/model/shield_block.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

struct ShieldReport {
  std::wstring file;
  ShieldBlock block;
  uint64_t bytes = 0;           ///< of the file
  uint64_t writtenUtc = 0;      ///< Unix seconds; 0 = not known
  uint64_t now = 0;             ///< Unix seconds
  std::optional<bool> enabled;  ///< the setting; nothing where the service does not answer
};

/// Each in one sentence.
std::vector<std::string> shieldProblems(const ShieldReport& report, Language language);

nlohmann::ordered_json shieldJson(const ShieldReport& report);
std::string renderShield(const ShieldReport& report, const Look& look);

}  // namespace korvel::ctl

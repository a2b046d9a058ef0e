// The settings that travel on the pipe, by their keys in settings.ini. Pure.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/settings_fields.h"

namespace korvel::ctl {

/// The fifteen keys, in the order of the record on the pipe. UpdateServer is not among them: the service does
/// not send it.
const std::vector<std::string>& settingKeys();

/// Booleans as 1 or 0, numbers in decimal, paths in UTF-8, as in settings.ini. std::nullopt for a key that
/// does not travel; keys compare exactly.
std::optional<std::string> settingText(const SettingsFields& settings, std::string_view key);

/// "Key=value" lines, each ended by LF.
std::string renderSettings(const SettingsFields& settings);

/// Every key with its value as a JSON boolean, number or string.
nlohmann::ordered_json settingsJson(const SettingsFields& settings);

}  // namespace korvel::ctl

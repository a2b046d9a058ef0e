// The settings as korvelctl shows and changes them. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korvelctl/cli/text.h"
#include "korvelctl/render/look.h"
#include "records/settings_fields.h"

namespace korvel::ctl {

/// When the service acts on a change.
enum class SettingEffect {
  kAtOnce,
  kAtNextStart,
  kNever,    ///< stored and exchanged, but the service does nothing with it
  kCounter,  ///< the service's own record; not to be set
};

struct SettingInfo {
  std::string_view key;
  SettingEffect effect;
  Text meaning;
};

/// All sixteen, in the order of the file.
const std::vector<SettingInfo>& settingInfos();

/// The key as the file spells it, for any case; empty for an unknown one.
std::string settingKeyOf(std::string_view word);

/// The value as in settings.ini; nothing for an unknown key.
std::optional<std::string> settingText(const SettingsFields& settings, std::string_view key);

/// What a value means: "on", a local time, a size; empty where the value says it itself.
std::string settingMeaning(const SettingsFields& settings, std::string_view key, const Look& look);

/// Every key that travels with its value as a JSON boolean, number or string.
nlohmann::ordered_json settingsJson(const SettingsFields& settings);
nlohmann::ordered_json settingJson(const SettingsFields& settings, std::string_view key);

/// Sets one field from "KEY=VALUE" in any case of the key. Strict: a boolean is 1, 0, true, false, on or off,
/// the hour a number from 0 to 23, a path is absolute and has no control characters. On failure returns the
/// text of the refusal; nothing on success. `key` gets the key as the file spells it.
std::optional<std::string> setSetting(SettingsFields& settings, const std::string& assignment,
                                      Language language, std::string* key);

}  // namespace korvel::ctl

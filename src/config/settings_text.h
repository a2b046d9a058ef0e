// The text of settings.ini: "Key=value" lines, UTF-8, LF. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

#include "records/settings_keys.h"

namespace korvel {

/// Updates `settings` from the text. Lines without "=" are skipped, unknown keys ignored, nothing is
/// trimmed, the last duplicate of a key wins, missing keys keep their value. Only "1" and "true" are true.
/// Throws std::invalid_argument ("invalid stoul argument") for a ScheduledHour that does not start with a
/// number and std::out_of_range ("stoul argument out of range") for one beyond 32 bits.
void parseSettingsText(std::string_view text, SettingsFields& settings);

/// The whole file: a header line, then the sixteen keys in their fixed order.
std::string formatSettingsText(const SettingsFields& settings);

/// One value in the format of settings.ini: booleans as 1 or 0, numbers in decimal, texts in UTF-8.
std::string settingValueText(const SettingsFields& settings, const SettingField& field);

}  // namespace korvel

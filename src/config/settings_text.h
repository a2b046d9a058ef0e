// The text of settings.ini: "Key=value" lines, UTF-8, LF. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

#include "config/settings.h"

namespace korvel {

/// Updates `settings` from the text. Lines without "=" are skipped, unknown keys ignored, nothing is
/// trimmed, the last duplicate of a key wins, missing keys keep their value. Only "1" and "true" are true.
/// Throws std::invalid_argument ("invalid stoul argument") for a ScheduledHour that starts with no number and
/// std::out_of_range ("stoul argument out of range") for one beyond 32 bits.
void parseSettingsText(std::string_view text, Settings& settings);

/// The whole file: a header line, then the sixteen keys in their fixed order.
std::string formatSettingsText(const Settings& settings);

}  // namespace korvel

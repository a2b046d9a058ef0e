// The names that settings have in settings.ini, each with the member it names. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <variant>

#include "config/settings.h"

namespace korvel {

/// The one 32-bit number is the hour, which has rules of its own.
using SettingField = std::variant<bool Settings::*, uint32_t Settings::*, uint64_t Settings::*,
                                  std::string Settings::*, std::wstring Settings::*>;

struct SettingKey {
  std::string_view key;
  SettingField field;
};

/// Every key, in the order of the file (which is not the order of the record's members).
inline constexpr SettingKey kSettingKeys[] = {
    {"ProtectionEnabled", &Settings::protectionEnabled},
    {"RealTimeEnabled", &Settings::realTimeEnabled},
    {"ScanArchives", &Settings::scanArchives},
    {"ScanRemovable", &Settings::scanRemovable},
    {"ShowThreatModal", &Settings::showThreatModal},
    {"QuarantineOnDetect", &Settings::quarantineOnDetect},
    {"ScheduledScan", &Settings::scheduledScan},
    {"ScheduledHour", &Settings::scheduledHour},
    {"LastScanUtc", &Settings::lastScanUtc},
    {"LastThreatCount", &Settings::lastThreatCount},
    {"SignatureDb", &Settings::signatureDb},
    {"QuarantineDir", &Settings::quarantineDir},
    {"LiveUpdates", &Settings::liveUpdates},
    {"LastLiveUpdateUtc", &Settings::lastLiveUpdateUtc},
    {"WebShield", &Settings::webShield},
    {"UpdateServer", &Settings::updateServer},
};

/// All keys but the last travel on the pipe, in this order.
inline constexpr size_t kPipedSettings = std::size(kSettingKeys) - 1;

/// The value as settings.ini has it: booleans as 1 or 0, numbers in decimal, texts in UTF-8.
std::string settingValueText(const Settings& settings, const SettingField& field);

}  // namespace korvel

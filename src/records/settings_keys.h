// The keys of settings.ini, each with the field that it names. Pure and thread-safe.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "records/settings_fields.h"

namespace korvel {

/// The only 32-bit field is the hour, which has its own parsing rules.
using SettingField =
    std::variant<bool SettingsFields::*, uint32_t SettingsFields::*, uint64_t SettingsFields::*,
                 std::string SettingsFields::*, std::wstring SettingsFields::*>;

struct SettingKey {
  std::string_view key;
  SettingField field;
};

/// Every key, in the order of the file (which is not the order of the record's members).
inline constexpr SettingKey kSettingKeys[] = {
    {"ProtectionEnabled", &SettingsFields::protectionEnabled},
    {"RealTimeEnabled", &SettingsFields::realTimeEnabled},
    {"ScanArchives", &SettingsFields::scanArchives},
    {"ScanRemovable", &SettingsFields::scanRemovable},
    {"ShowThreatModal", &SettingsFields::showThreatModal},
    {"QuarantineOnDetect", &SettingsFields::quarantineOnDetect},
    {"ScheduledScan", &SettingsFields::scheduledScan},
    {"ScheduledHour", &SettingsFields::scheduledHour},
    {"LastScanUtc", &SettingsFields::lastScanUtc},
    {"LastThreatCount", &SettingsFields::lastThreatCount},
    {"SignatureDb", &SettingsFields::signatureDb},
    {"QuarantineDir", &SettingsFields::quarantineDir},
    {"LiveUpdates", &SettingsFields::liveUpdates},
    {"LastLiveUpdateUtc", &SettingsFields::lastLiveUpdateUtc},
    {"WebShield", &SettingsFields::webShield},
    {"UpdateServer", &SettingsFields::updateServer},
};

/// The keys that travel on the pipe, in the order of the record there: all but the last.
inline constexpr std::span<const SettingKey> kPipedSettings =
    std::span(kSettingKeys).first<std::size(kSettingKeys) - 1>();

}  // namespace korvel

#include "korvelctl/settings_list.h"

#include <nlohmann/json.hpp>
#include <variant>

#include "base/utf.h"
#include "korvelctl/printable.h"

namespace korvel::ctl {
namespace {

using Field =
    std::variant<bool Settings::*, uint32_t Settings::*, uint64_t Settings::*, std::wstring Settings::*>;
struct Setting {
  const char* key;
  Field field;
};

constexpr Setting kSettings[] = {
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
};

std::string asText(bool value) { return value ? "1" : "0"; }
std::string asText(uint32_t value) { return std::to_string(value); }
std::string asText(uint64_t value) { return std::to_string(value); }
std::string asText(const std::wstring& value) { return toUtf8(value); }

template <typename T>
nlohmann::ordered_json asJson(const T& value) {
  return value;
}
nlohmann::ordered_json asJson(const std::wstring& value) { return toUtf8(value); }

}  // namespace

const std::vector<std::string>& settingKeys() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> result;
    for (const Setting& setting : kSettings) result.emplace_back(setting.key);
    return result;
  }();
  return keys;
}

std::optional<std::string> settingText(const Settings& settings, std::string_view key) {
  for (const Setting& setting : kSettings) {
    if (key == setting.key) {
      return std::visit([&settings](auto field) { return asText(settings.*field); }, setting.field);
    }
  }
  return std::nullopt;
}

std::string renderSettings(const Settings& settings) {
  std::string text;
  for (const std::string& key : settingKeys())
    text += key + "=" + printable(*settingText(settings, key)) + "\n";
  return text;
}

nlohmann::ordered_json settingsJson(const Settings& settings) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const Setting& setting : kSettings) {
    json[setting.key] =
        std::visit([&settings](auto field) { return asJson(settings.*field); }, setting.field);
  }
  return json;
}

}  // namespace korvel::ctl

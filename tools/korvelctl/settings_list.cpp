#include "korvelctl/settings_list.h"

#include <nlohmann/json.hpp>
#include <variant>

#include "base/utf.h"
#include "config/settings_text.h"
#include "korvelctl/printable.h"
#include "records/settings_keys.h"

namespace korvel::ctl {
namespace {

template <typename T>
nlohmann::ordered_json asJson(const T& value) {
  return value;
}
nlohmann::ordered_json asJson(const std::wstring& value) { return toUtf8(value); }

}  // namespace

const std::vector<std::string>& settingKeys() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> result;
    for (const SettingKey& setting : kPipedSettings) result.emplace_back(setting.key);
    return result;
  }();
  return keys;
}

std::optional<std::string> settingText(const SettingsFields& settings, std::string_view key) {
  for (const SettingKey& setting : kPipedSettings) {
    if (key == setting.key) return settingValueText(settings, setting.field);
  }
  return std::nullopt;
}

std::string renderSettings(const SettingsFields& settings) {
  std::string text;
  for (const auto& [key, field] : kPipedSettings) {
    text.append(key).append("=").append(printable(settingValueText(settings, field))).append("\n");
  }
  return text;
}

nlohmann::ordered_json settingsJson(const SettingsFields& settings) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const auto& [key, member] : kPipedSettings) {
    json[std::string(key)] = std::visit([&settings](auto field) { return asJson(settings.*field); }, member);
  }
  return json;
}

}  // namespace korvel::ctl

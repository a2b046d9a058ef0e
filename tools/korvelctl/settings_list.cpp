#include "korvelctl/settings_list.h"

#include <nlohmann/json.hpp>
#include <span>
#include <variant>

#include "base/utf.h"
#include "config/settings_keys.h"
#include "korvelctl/printable.h"

namespace korvel::ctl {
namespace {

constexpr std::span<const SettingKey> kPiped{kSettingKeys, kPipedSettings};

template <typename T>
nlohmann::ordered_json asJson(const T& value) {
  return value;
}
nlohmann::ordered_json asJson(const std::wstring& value) { return toUtf8(value); }

}  // namespace

const std::vector<std::string>& settingKeys() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> result;
    for (const SettingKey& setting : kPiped) result.emplace_back(setting.key);
    return result;
  }();
  return keys;
}

std::optional<std::string> settingText(const Settings& settings, std::string_view key) {
  for (const SettingKey& setting : kPiped) {
    if (key == setting.key) return settingValueText(settings, setting.field);
  }
  return std::nullopt;
}

std::string renderSettings(const Settings& settings) {
  std::string text;
  for (const auto& [key, field] : kPiped) {
    text.append(key).append("=").append(printable(settingValueText(settings, field))).append("\n");
  }
  return text;
}

nlohmann::ordered_json settingsJson(const Settings& settings) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const auto& [key, member] : kPiped) {
    json[std::string(key)] = std::visit([&settings](auto field) { return asJson(settings.*field); }, member);
  }
  return json;
}

}  // namespace korvel::ctl

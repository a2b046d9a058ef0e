#include "korvelctl/model/settings_edit.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <variant>

#include "base/long_path.h"
#include "base/text.h"
#include "base/utf.h"
#include "config/settings_text.h"
#include "korvelctl/cli/suggestion.h"
#include "korvelctl/cli/words/common_words.h"
#include "korvelctl/cli/words/config_words.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"
#include "records/settings_keys.h"

namespace korvel::ctl {
namespace {

const SettingKey* keyNamed(std::string_view key) {
  for (const SettingKey& setting : kSettingKeys) {
    if (setting.key == key) return &setting;
  }
  return nullptr;
}

const SettingInfo& infoOf(std::string_view key) {
  return *std::find_if(settingInfos().begin(), settingInfos().end(),
                       [key](const SettingInfo& info) { return info.key == key; });
}

std::optional<bool> booleanOf(const std::string& value) {
  const std::string word = lowerAscii(value);
  if (word == "1" || word == "true" || word == "on" || word == "yes") return true;
  if (word == "0" || word == "false" || word == "off" || word == "no") return false;
  return std::nullopt;
}

std::optional<uint32_t> hourOf(const std::string& value) {
  uint32_t hour = 0;
  const char* end = value.data() + value.size();
  const auto [stop, problem] = std::from_chars(value.data(), end, hour);
  if (problem != std::errc() || stop != end || hour >= kHoursPerDay) return std::nullopt;
  return hour;
}

bool isAbsolutePath(const std::wstring& path) {
  const bool plain = std::none_of(path.begin(), path.end(), [](wchar_t unit) { return unit < 0x20; });
  const bool drive = path.size() >= 3 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/');
  const bool share = path.size() >= 3 && path.starts_with(L"\\\\");
  return plain && (drive || share) && !splitRelative(path);
}

nlohmann::ordered_json asJson(bool value) { return value; }
nlohmann::ordered_json asJson(uint32_t value) { return value; }
nlohmann::ordered_json asJson(uint64_t value) { return jsonNumber(value); }
nlohmann::ordered_json asJson(const std::string& value) { return value; }
nlohmann::ordered_json asJson(const std::wstring& value) { return toUtf8(value); }

/// The refusal of a value, or nothing.
struct Assign {
  SettingsFields& settings;
  const std::string& key;
  const std::string& value;
  Language language;

  std::string refused(const Text& text) const { return filled(text, language, {key, printable(value)}); }

  std::optional<std::string> operator()(bool SettingsFields::*field) const {
    const std::optional<bool> on = booleanOf(value);
    if (!on) return refused(words::kNotABoolean);
    settings.*field = *on;
    return std::nullopt;
  }
  std::optional<std::string> operator()(uint32_t SettingsFields::*field) const {
    const std::optional<uint32_t> hour = hourOf(value);
    if (!hour) return refused(words::kNotAnHour);
    settings.*field = *hour;
    return std::nullopt;
  }
  std::optional<std::string> operator()(uint64_t SettingsFields::*) const {
    return filled(words::kCounterNotSet, language, {key});
  }
  std::optional<std::string> operator()(std::string SettingsFields::*) const {
    return words::kServerNotSet.in(language);
  }
  std::optional<std::string> operator()(std::wstring SettingsFields::*field) const {
    const std::wstring path = toWide(value);
    if (!isAbsolutePath(path)) return refused(words::kNotASettingPath);
    settings.*field = path;
    return std::nullopt;
  }
};

std::string hourMeaning(uint32_t hour, const Look& look) {
  constexpr uint64_t kAnyDay = 1'763'683'200;  // midnight UTC
  const uint64_t utc = kAnyDay + uint64_t{hour} * 3'600;
  const uint64_t local = look.localTime == nullptr ? utc : look.localTime(utc);
  const auto two = [](uint64_t number) { return (number < 10 ? "0" : "") + std::to_string(number); };
  return filled(words::kHourMeaning, look.language, {two(hour), two(local / 3'600 % 24)});
}

}  // namespace

const std::vector<SettingInfo>& settingInfos() {
  using enum SettingEffect;
  static const std::vector<SettingInfo> infos = {
      {"ProtectionEnabled", kAtOnce, words::kMeansProtection},
      {"RealTimeEnabled", kAtNextStart, words::kMeansRealTime},
      {"ScanArchives", kNever, words::kMeansArchives},
      {"ScanRemovable", kNever, words::kMeansRemovable},
      {"ShowThreatModal", kNever, words::kMeansModal},
      {"QuarantineOnDetect", kNever, words::kMeansQuarantine},
      {"ScheduledScan", kAtNextStart, words::kMeansScheduled},
      {"ScheduledHour", kAtOnce, words::kMeansHour},
      {"LastScanUtc", kCounter, words::kMeansLastScan},
      {"LastThreatCount", kCounter, words::kMeansThreatCount},
      {"SignatureDb", kAtOnce, words::kMeansSignatureDb},
      {"QuarantineDir", kAtOnce, words::kMeansQuarantineDir},
      {"LiveUpdates", kAtOnce, words::kMeansLiveUpdates},
      {"LastLiveUpdateUtc", kCounter, words::kMeansLastUpdate},
      {"WebShield", kAtOnce, words::kMeansShield},
      {"UpdateServer", kAtOnce, words::kMeansServer},
  };
  return infos;
}

std::string settingKeyOf(std::string_view word) {
  for (const SettingKey& setting : kSettingKeys) {
    if (lowerAscii(setting.key) == lowerAscii(word)) return std::string(setting.key);
  }
  return {};
}

std::optional<std::string> settingText(const SettingsFields& settings, std::string_view key) {
  const SettingKey* setting = keyNamed(key);
  if (setting == nullptr) return std::nullopt;
  return settingValueText(settings, setting->field);
}

std::string settingMeaning(const SettingsFields& settings, std::string_view key, const Look& look) {
  const SettingKey* setting = keyNamed(key);
  if (setting == nullptr) return {};
  const SettingInfo& info = infoOf(key);
  const Language language = look.language;
  std::string now;
  if (const auto* flag = std::get_if<bool SettingsFields::*>(&setting->field))
    now = onOffText(settings.**flag, language);
  if (key == "ScheduledHour") now = hourMeaning(settings.scheduledHour, look);
  if (const auto* number = std::get_if<uint64_t SettingsFields::*>(&setting->field);
      number != nullptr && key != "LastThreatCount") {
    now = settings.**number == 0 ? words::kNever.in(language) : timeText(settings.**number, look);
  }
  std::string text = info.meaning.in(language);
  if (!now.empty()) text += ": " + now;
  if (info.effect == SettingEffect::kAtNextStart) text += std::string("; ") + words::kNextStart.in(language);
  if (info.effect == SettingEffect::kNever) text += std::string("; ") + words::kUnused.in(language);
  return text;
}

nlohmann::ordered_json settingJson(const SettingsFields& settings, std::string_view key) {
  const SettingKey* setting = keyNamed(key);
  if (setting == nullptr) return nullptr;
  return std::visit([&settings](auto field) { return asJson(settings.*field); }, setting->field);
}

nlohmann::ordered_json settingsJson(const SettingsFields& settings) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const SettingKey& setting : kPipedSettings)
    json[std::string(setting.key)] = settingJson(settings, setting.key);
  return json;
}

std::optional<std::string> setSetting(SettingsFields& settings, const std::string& assignment,
                                      Language language, std::string* key) {
  const size_t equals = assignment.find('=');
  if (equals == assignment.npos) return filled(words::kNotAnAssignment, language, {printable(assignment)});
  const std::string word = assignment.substr(0, equals);
  *key = settingKeyOf(word);
  if (key->empty()) {
    std::vector<std::string> known;
    for (const SettingKey& setting : kSettingKeys) known.emplace_back(setting.key);
    std::string text = filled(words::kUnknownKey, language, {printable(word)});
    if (const std::string meant = closestWord(word, known); !meant.empty())
      text += "; " + filled(words::kDidYouMean, language, {meant});
    return text;
  }
  return std::visit(Assign{settings, *key, assignment.substr(equals + 1), language}, keyNamed(*key)->field);
}

}  // namespace korvel::ctl

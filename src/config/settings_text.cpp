#include "config/settings_text.h"

#include <cstdint>
#include <stdexcept>

#include "base/text.h"
#include "base/utf.h"

namespace korvel {
namespace {

constexpr char kHeaderLine[] = "# Korvel Antivirus settings\n";

/// As std::stoul in base 10 with a 32-bit unsigned long, but with exception texts that do not depend on the
/// library: leading white space and a sign are accepted, "-1" is 4294967295, reading stops at the first
/// non-digit.
uint32_t parseUnsigned32OrThrow(std::string_view text) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string_view::npos) at = text.size();
  const bool negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (negative || text[at] == '+')) ++at;
  if (at == text.size() || !isDigit(text[at])) throw std::invalid_argument("invalid stoul argument");

  uint64_t magnitude = 0;
  for (; at < text.size() && isDigit(text[at]); ++at) {
    magnitude = magnitude * 10 + static_cast<uint64_t>(text[at] - '0');
    if (magnitude > UINT32_MAX) throw std::out_of_range("stoul argument out of range");
  }
  const uint32_t value = static_cast<uint32_t>(magnitude);
  return negative ? 0u - value : value;
}

struct Assign {
  SettingsFields& settings;
  std::string_view value;

  // Nothing is trimmed, so "1\r" from a file edited to have CR LF line ends is false too.
  void operator()(bool SettingsFields::*field) const { settings.*field = value == "1" || value == "true"; }
  void operator()(uint32_t SettingsFields::*hour) const {
    settings.*hour = parseUnsigned32OrThrow(value) % kHoursPerDay;
  }
  void operator()(uint64_t SettingsFields::*field) const {
    settings.*field = parseUnsigned(std::string(value));
  }
  void operator()(std::string SettingsFields::*field) const { settings.*field = value; }
  void operator()(std::wstring SettingsFields::*field) const { settings.*field = toWide(value); }
};

struct Print {
  const SettingsFields& settings;

  std::string operator()(bool SettingsFields::*field) const { return settings.*field ? "1" : "0"; }
  std::string operator()(uint32_t SettingsFields::*field) const { return std::to_string(settings.*field); }
  std::string operator()(uint64_t SettingsFields::*field) const { return std::to_string(settings.*field); }
  std::string operator()(std::string SettingsFields::*field) const { return settings.*field; }
  std::string operator()(std::wstring SettingsFields::*field) const { return toUtf8(settings.*field); }
};

}  // namespace

std::string settingValueText(const SettingsFields& settings, const SettingField& field) {
  return std::visit(Print{settings}, field);
}

void parseSettingsText(std::string_view text, SettingsFields& settings) {
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;  // as for the header line; there is no comment syntax
    const std::string_view key = line.substr(0, equals);
    for (const SettingKey& setting : kSettingKeys) {
      if (setting.key == key) std::visit(Assign{settings, line.substr(equals + 1)}, setting.field);
    }
  }
}

std::string formatSettingsText(const SettingsFields& settings) {
  std::string text = kHeaderLine;
  for (const auto& [key, field] : kSettingKeys) {
    text.append(key).append("=").append(settingValueText(settings, field)).append("\n");
  }
  return text;
}

}  // namespace korvel

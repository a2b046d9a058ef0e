#include "korvelctl/render/texts.h"

#include <chrono>
#include <cstdio>

#include "korvelctl/cli/words/common_words.h"

namespace korvel::ctl {
namespace {

/// The last second of the year 9999: later stamps come from damaged files and are shown as numbers.
constexpr uint64_t kLastShownSecond = 253'402'300'799;

constexpr char kNoBreakSpace[] = "\xC2\xA0";

struct Units {
  const char* english;
  const char* russian;
};
constexpr Units kByteUnits[] = {{"B", "Б"},    {"KiB", "КБ"}, {"MiB", "МБ"}, {"GiB", "ГБ"},
                                {"TiB", "ТБ"}, {"PiB", "ПБ"}, {"EiB", "ЭБ"}};

constexpr Plural kDays{{"day", "days"}, {"день", "дня", "дней"}};

std::string format(const char* pattern, auto... values) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, values...);
  return text;
}

struct Clock {
  int year;
  unsigned month, day;
  int hour, minute, second;
};

Clock clockOf(uint64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(static_cast<int64_t>(seconds))};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  return {static_cast<int>(date.year()),
          static_cast<unsigned>(date.month()),
          static_cast<unsigned>(date.day()),
          static_cast<int>(clock.hours().count()),
          static_cast<int>(clock.minutes().count()),
          static_cast<int>(clock.seconds().count())};
}

std::string spaced(const std::string& number, const char* unit) { return number + kNoBreakSpace + unit; }

}  // namespace

std::string numberText(uint64_t number, Language language) {
  const std::string digits = std::to_string(number);
  std::string text;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) text += language == Language::kRussian ? kNoBreakSpace : ",";
    text += digits[i];
  }
  return text;
}

std::string decimalText(double number, Language language) {
  std::string text = format("%.1f", number);
  if (language == Language::kRussian) {
    for (char& c : text) {
      if (c == '.') c = ',';
    }
  }
  return text;
}

std::string countText(uint64_t count, const Plural& noun, Language language) {
  return spaced(numberText(count, language), nounFor(count, noun, language));
}

std::string bytesText(uint64_t bytes, Language language) {
  const auto unitName = [language](size_t unit) {
    return language == Language::kRussian ? kByteUnits[unit].russian : kByteUnits[unit].english;
  };
  if (bytes < 1024) return spaced(std::to_string(bytes), unitName(0));
  double value = static_cast<double>(bytes) / 1024;
  size_t unit = 1;
  // 1023.5 would print as "1024".
  while (value >= 1023.5 && unit + 1 < std::size(kByteUnits)) {
    value /= 1024;
    ++unit;
  }
  // 99.95 would print as "100.0".
  return spaced(value < 99.95 ? decimalText(value, language) : format("%.0f", value), unitName(unit));
}

std::string speedText(double bytesPerSecond, Language language) {
  const double bounded = bytesPerSecond < 0 ? 0 : bytesPerSecond;
  return bytesText(static_cast<uint64_t>(bounded), language) + (language == Language::kRussian ? "/с" : "/s");
}

std::string clockText(uint64_t seconds) {
  const auto part = [](uint64_t value) { return static_cast<unsigned long long>(value); };
  if (seconds >= 3600)
    return format("%llu:%02llu:%02llu", part(seconds / 3600), part(seconds / 60 % 60), part(seconds % 60));
  return format("%02llu:%02llu", part(seconds / 60), part(seconds % 60));
}

std::string durationText(uint64_t milliseconds, Language language) {
  const bool ru = language == Language::kRussian;
  if (milliseconds < 1000) return spaced(std::to_string(milliseconds), ru ? "мс" : "ms");
  const uint64_t seconds = milliseconds / 1000;
  if (seconds < 60)
    return spaced(decimalText(static_cast<double>(milliseconds - milliseconds % 100) / 1000, language),
                  ru ? "с" : "s");
  const std::string minutes = spaced(std::to_string(seconds / 60 % 60), ru ? "мин" : "min");
  if (seconds < 3600) return minutes + " " + spaced(std::to_string(seconds % 60), ru ? "с" : "s");
  return spaced(numberText(seconds / 3600, language), ru ? "ч" : "h") + " " + minutes;
}

std::string ageText(uint64_t seconds, Language language) {
  const bool ru = language == Language::kRussian;
  if (seconds < 60) return spaced(std::to_string(seconds), ru ? "с" : "s");
  if (seconds < 3600) return spaced(std::to_string(seconds / 60), ru ? "мин" : "min");
  if (seconds < uint64_t{2} * 86'400) return spaced(std::to_string(seconds / 3600), ru ? "ч" : "h");
  return countText(seconds / 86'400, kDays, language);
}

std::string timeText(uint64_t utc, const Look& look) {
  if (utc > kLastShownSecond) return std::to_string(utc);
  const Clock c = clockOf(look.localTime == nullptr ? utc : look.localTime(utc));
  const std::string text = look.language == Language::kRussian
                               ? format("%02u.%02u.%04d %02d:%02d", c.day, c.month, c.year, c.hour, c.minute)
                               : format("%04d-%02u-%02u %02d:%02d", c.year, c.month, c.day, c.hour, c.minute);
  return look.localTime == nullptr ? text + " UTC" : text;
}

std::string isoUtc(uint64_t utc) {
  if (utc > kLastShownSecond) return std::to_string(utc);
  const Clock c = clockOf(utc);
  return format("%04d-%02u-%02uT%02d:%02d:%02dZ", c.year, c.month, c.day, c.hour, c.minute, c.second);
}

std::string severityText(Severity severity, Language language) {
  switch (severity) {
    case kSeverityClean:
      return words::kSeverityClean.in(language);
    case kSeverityLow:
      return words::kSeverityLow.in(language);
    case kSeverityMedium:
      return words::kSeverityMedium.in(language);
    case kSeverityHigh:
      return words::kSeverityHigh.in(language);
    case kSeverityCritical:
      return words::kSeverityCritical.in(language);
    default:
      return filled(words::kSeverityUnknown, language, {std::to_string(severity)});
  }
}

std::string colored(const std::string& text, Severity severity, const Look& look) {
  if (!look.colors || severity < kSeverityMedium) return text;
  const char* color = severity >= kSeverityHigh ? "\x1b[91m" : "\x1b[93m";
  return color + text + "\x1b[0m";
}

const char* onOffText(bool on, Language language) { return (on ? words::kOn : words::kOff).in(language); }

}  // namespace korvel::ctl

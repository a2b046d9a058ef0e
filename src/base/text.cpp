#include "base/text.h"

#include <cstdlib>

namespace korvel {
namespace {

wchar_t lowerUnit(wchar_t unit) {
  const auto shifted = [unit](int by) { return static_cast<wchar_t>(unit + by); };
  if (unit >= L'A' && unit <= L'Z') return shifted(0x20);
  if (unit < 0xC0) return unit;
  if (unit <= 0xDE && unit != 0xD7) return shifted(0x20);                        // Latin-1
  if (unit >= 0x0391 && unit <= 0x03AB && unit != 0x03A2) return shifted(0x20);  // Greek
  if (unit >= 0x0400 && unit <= 0x040F) return shifted(0x50);                    // Cyrillic, Ѐ to Џ
  if (unit >= 0x0410 && unit <= 0x042F) return shifted(0x20);                    // Cyrillic, А to Я
  return unit;
}

}  // namespace

std::string lowerAscii(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return result;
}

std::wstring lowerWide(std::wstring_view text) {
  std::wstring result(text);
  for (wchar_t& unit : result) unit = lowerUnit(unit);
  return result;
}

std::string_view trimmed(std::string_view text, std::string_view strip) {
  const size_t first = text.find_first_not_of(strip);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(strip) - first + 1);
}

uint64_t parseUnsigned(const std::string& text) { return std::strtoull(text.c_str(), nullptr, 10); }

bool LineReader::next(std::string_view& line) {
  if (rest_.empty()) return false;
  const size_t end = rest_.find('\n');
  line = rest_.substr(0, end);
  rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
  return true;
}

}  // namespace korvel

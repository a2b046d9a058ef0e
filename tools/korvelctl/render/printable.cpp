#include "korvelctl/render/printable.h"

#include "base/utf.h"

namespace korvel::ctl {
namespace {

constexpr wchar_t kReplacement = 0xFFFD;
constexpr std::string_view kEllipsis = "...";

bool mayBeShown(wchar_t unit) {
  if (unit < 0x20 || (unit >= 0x7F && unit <= 0x9F)) return false;  // C0, DEL, C1
  const bool reorders = unit == 0x061C || unit == 0x200E || unit == 0x200F ||
                        (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
  const bool breaksLine = unit == 0x2028 || unit == 0x2029;
  return !reorders && !breaksLine;
}

bool startsCodePoint(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

/// The byte offset of code point number `index`, or the size.
size_t offsetOf(std::string_view text, size_t index) {
  for (size_t at = 0; at < text.size(); ++at) {
    if (startsCodePoint(text[at]) && index-- == 0) return at;
  }
  return text.size();
}

}  // namespace

std::string printable(std::wstring_view text) {
  std::wstring shown(text);
  for (wchar_t& unit : shown) {
    if (!mayBeShown(unit)) unit = kReplacement;
  }
  return toUtf8(shown);
}

std::string printable(std::string_view text) { return printable(toWide(text)); }

size_t columnsOf(std::string_view text) {
  size_t columns = 0;
  for (const char byte : text) columns += startsCodePoint(byte) ? 1 : 0;
  return columns;
}

std::string shortened(std::string_view text, size_t columns) {
  const size_t length = columnsOf(text);
  if (length <= columns) return std::string(text);
  if (columns <= kEllipsis.size()) return std::string(text.substr(0, offsetOf(text, columns)));
  const size_t kept = columns - kEllipsis.size();
  const size_t head = kept / 3;
  std::string result(text.substr(0, offsetOf(text, head)));
  result += kEllipsis;
  result += text.substr(offsetOf(text, length - (kept - head)));
  return result;
}

}  // namespace korvel::ctl

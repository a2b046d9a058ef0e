// The conversions without Windows, for native builds of the pure code under sanitizers and fuzzers.
// Encoding: RFC 3629 (UTF-8) and RFC 2781 (UTF-16).
#include "base/utf.h"

#include <cstdint>

namespace korvel {
namespace {

constexpr uint32_t kReplacement = 0xFFFD;

bool isHighSurrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void appendUtf8(std::string& out, uint32_t codePoint) {
  const auto put = [&out](uint32_t byte) { out.push_back(static_cast<char>(byte)); };
  if (codePoint < 0x80) {
    put(codePoint);
  } else if (codePoint < 0x800) {
    put(0xC0 | codePoint >> 6);
    put(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    put(0xE0 | codePoint >> 12);
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  } else {
    put(0xF0 | codePoint >> 18);
    put(0x80 | (codePoint >> 12 & 0x3F));
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  }
}

void appendUnits(std::wstring& out, uint32_t codePoint) {
  if (codePoint < 0x10000) {
    out.push_back(static_cast<wchar_t>(codePoint));
    return;
  }
  const uint32_t offset = codePoint - 0x10000;
  out.push_back(static_cast<wchar_t>(0xD800 + (offset >> 10)));
  out.push_back(static_cast<wchar_t>(0xDC00 + (offset & 0x3FF)));
}

/// Decodes one sequence at `at` and advances past it; malformed bytes yield U+FFFD.
uint32_t decodeUtf8(std::string_view text, size_t& at) {
  const auto byteAt = [&text](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = byteAt(at++);
  if (lead < 0x80) return lead;

  int continuation = 0;
  uint32_t codePoint = 0;
  uint8_t lowest = 0x80;
  uint8_t highest = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    continuation = 1;
    codePoint = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    continuation = 2;
    codePoint = lead & 0x0Fu;
    if (lead == 0xE0) lowest = 0xA0;   // overlong
    if (lead == 0xED) highest = 0x9F;  // surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    continuation = 3;
    codePoint = lead & 0x07u;
    if (lead == 0xF0) lowest = 0x90;   // overlong
    if (lead == 0xF4) highest = 0x8F;  // beyond U+10FFFF
  } else {
    return kReplacement;
  }
  for (; continuation > 0; --continuation) {
    if (at >= text.size() || byteAt(at) < lowest || byteAt(at) > highest) return kReplacement;
    codePoint = codePoint << 6 | (byteAt(at++) & 0x3Fu);
    lowest = 0x80;
    highest = 0xBF;
  }
  return codePoint;
}

}  // namespace

std::string toUtf8(std::wstring_view text) {
  std::string result;
  result.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t codePoint = static_cast<uint32_t>(text[i]);
    if (isHighSurrogate(codePoint) && i + 1 < text.size() &&
        isLowSurrogate(static_cast<uint32_t>(text[i + 1]))) {
      codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (static_cast<uint32_t>(text[++i]) - 0xDC00);
    } else if (isHighSurrogate(codePoint) || isLowSurrogate(codePoint) || codePoint > 0x10FFFF) {
      codePoint = kReplacement;
    }
    appendUtf8(result, codePoint);
  }
  return result;
}

std::wstring toWide(std::string_view text) {
  std::wstring result;
  result.reserve(text.size());
  for (size_t at = 0; at < text.size();) appendUnits(result, decodeUtf8(text, at));
  return result;
}

}  // namespace korvel

// One table of expectations for both implementations: compiled natively it tests the portable one, compiled
// for Windows the system's.
#include "base/utf.h"

#include <gtest/gtest.h>

#include <string>

namespace korvel {
namespace {

std::wstring units(std::u16string_view text) {
  std::wstring wide;
  for (const char16_t unit : text) wide.push_back(static_cast<wchar_t>(unit));
  return wide;
}

std::string hex(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned>(static_cast<unsigned char>(c)));
    text += digits;
  }
  return text;
}

std::string hex(const std::wstring& wide) {
  std::string text;
  for (const wchar_t unit : wide) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%04X ", static_cast<unsigned>(unit));
    text += digits;
  }
  return text;
}

struct Pair {
  std::string_view utf8;
  std::u16string_view utf16;
};
using namespace std::string_view_literals;

// Well formed: both directions give the other side.
constexpr Pair kWellFormed[] = {
    {""sv, u""sv},
    {"a"sv, u"a"sv},
    {"a\0b"sv, u"a\0b"sv},
    {"\x7F"sv, u"\x7F"sv},
    {"\xC2\x80"sv, u"\x80"sv},
    {"\xD0\xAF"sv, u"\x042F"sv},
    {"\xDF\xBF"sv, u"\x07FF"sv},
    {"\xE0\xA0\x80"sv, u"\x0800"sv},
    {"\xE2\x82\xAC"sv, u"\x20AC"sv},
    {"\xED\x9F\xBF"sv, u"\xD7FF"sv},
    {"\xEE\x80\x80"sv, u"\xE000"sv},
    {"\xEF\xBB\xBF"sv, u"\xFEFF"sv},  // a byte-order mark is a character like any other
    {"\xEF\xBF\xBF"sv, u"\xFFFF"sv},
    {"\xF0\x90\x80\x80"sv, u"\xD800\xDC00"sv},
    {"\xF0\x9F\x98\x80!"sv, u"\xD83D\xDE00!"sv},
    {"\xF4\x8F\xBF\xBF"sv, u"\xDBFF\xDFFF"sv},
};

// Malformed UTF-8: one U+FFFD for the longest part that could begin a character, then reading goes on.
constexpr Pair kMalformedUtf8[] = {
    {"\x80"sv, u"\xFFFD"sv},
    {"\x80\xBF"sv, u"\xFFFD\xFFFD"sv},
    {"a\x80z"sv, u"a\xFFFDz"sv},
    {"\xC0\x80"sv, u"\xFFFD\xFFFD"sv},  // overlong
    {"\xC1\xBF"sv, u"\xFFFD\xFFFD"sv},  // overlong
    {"\xC3"sv, u"\xFFFD"sv},            // cut
    {"\xC3("sv, u"\xFFFD("sv},
    {"\xC3\xC3\xA9"sv, u"\xFFFD\x00E9"sv},
    {"\xE2\x82"sv, u"\xFFFD"sv},  // cut
    {"\xE2\x82z"sv, u"\xFFFDz"sv},
    {"\xE2(\xA1"sv, u"\xFFFD(\xFFFD"sv},
    {"\xF0\x9F\x98"sv, u"\xFFFD"sv},  // cut
    {"\xF0\x9F\x98z"sv, u"\xFFFDz"sv},
    {"\xF5\x80\x80\x80"sv, u"\xFFFD\xFFFD\xFFFD\xFFFD"sv},
    {"\xF8\x88\x80\x80\x80"sv, u"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"sv},
    {"\xFE\xFF"sv, u"\xFFFD\xFFFD"sv},
};

// Sequences of three and four bytes that stand for no character. Versions of the system differ in how many
// U+FFFD replace one; in all of them none of its bytes gets through, and the text around it does.
constexpr std::string_view kForbiddenForms[] = {
    "\xE0\x80\x80"sv,      // overlong
    "\xE0\x9F\xBF"sv,      // overlong
    "\xED\xA0\x80"sv,      // a surrogate
    "\xED\xBF\xBF"sv,      // a surrogate
    "\xF0\x8F\xBF\xBF"sv,  // overlong
    "\xF4\x90\x80\x80"sv,  // beyond U+10FFFF
};

// Malformed UTF-16: each surrogate without its other half becomes U+FFFD.
constexpr Pair kMalformedUtf16[] = {
    {"\xEF\xBF\xBD"sv, u"\xD800"sv},
    {"\xEF\xBF\xBD"sv, u"\xDC00"sv},
    {"\xEF\xBF\xBDz"sv, u"\xD800z"sv},
    {"z\xEF\xBF\xBD"sv, u"z\xDFFF"sv},
    {"\xEF\xBF\xBD\xEF\xBF\xBD"sv, u"\xDC00\xD800"sv},
    {"\xEF\xBF\xBD\xF0\x90\x80\x80"sv, u"\xD800\xD800\xDC00"sv},
    {"\xF0\x90\x80\x80\xEF\xBF\xBD"sv, u"\xD800\xDC00\xDC00"sv},
};

TEST(Utf, ConvertsWellFormedTextBothWays) {
  for (const Pair& pair : kWellFormed) {
    EXPECT_EQ(hex(toWide(pair.utf8)), hex(units(pair.utf16))) << hex(pair.utf8);
    EXPECT_EQ(hex(toUtf8(units(pair.utf16))), hex(pair.utf8));
  }
}

TEST(Utf, ReplacesMalformedUtf8) {
  for (const Pair& pair : kMalformedUtf8) {
    EXPECT_EQ(hex(toWide(pair.utf8)), hex(units(pair.utf16))) << "from " << hex(pair.utf8);
  }
}

TEST(Utf, LetsNoForbiddenFormThrough) {
  for (const std::string_view form : kForbiddenForms) {
    const std::wstring wide = toWide("a" + std::string(form) + "z");
    ASSERT_GE(wide.size(), 3u) << hex(form);
    const size_t replaced = wide.size() - 2;
    EXPECT_LE(replaced, form.size()) << hex(form);
    EXPECT_EQ(hex(wide), hex(L"a" + std::wstring(replaced, L'\xFFFD') + L"z")) << hex(form);
  }
}

TEST(Utf, ReplacesMalformedUtf16) {
  for (const Pair& pair : kMalformedUtf16) {
    EXPECT_EQ(hex(toUtf8(units(pair.utf16))), hex(pair.utf8)) << "from " << hex(units(pair.utf16));
  }
}

TEST(Utf, EveryPrefixOfATextConverts) {
  const std::string text = "a\xD0\xAF\xE2\x82\xAC\xF0\x9F\x98\x80";
  for (size_t size = 0; size <= text.size(); ++size) {
    const std::string prefix(text, 0, size);
    const std::wstring wide = toWide(prefix);
    EXPECT_LE(wide.size(), prefix.size());
    EXPECT_EQ(toWide(toUtf8(wide)), wide);
  }
}

}  // namespace
}  // namespace korvel

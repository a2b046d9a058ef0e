#include "base/text.h"

#include <gtest/gtest.h>

#include <vector>

namespace korvel {
namespace {

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  LineReader reader(text);
  for (std::string_view line; reader.next(line);) lines.emplace_back(line);
  return lines;
}

TEST(LowerWide, CoversAsciiAndCyrillicAndLeavesTheRest) {
  EXPECT_EQ(lowerWide(L"C:\\ЗАГРУЗКИ\\Ёж.EXE"), L"c:\\загрузки\\ёж.exe");
  EXPECT_EQ(lowerWide(L"ÀÖ×ÞΩ[]"), L"àö×þω[]");
}

TEST(LowerWide, EndsWithTheLastLetterOfEachAlphabet) {
  struct Range {
    wchar_t first, last;
    int by;
  };
  constexpr Range kRanges[] = {{L'A', L'Z', 0x20},     {0xC0, 0xD6, 0x20},     {0xD8, 0xDE, 0x20},
                               {0x0391, 0x03A1, 0x20}, {0x03A3, 0x03AB, 0x20}, {0x0400, 0x040F, 0x50},
                               {0x0410, 0x042F, 0x20}};
  for (wchar_t unit = 1; unit < 0x0500; ++unit) {
    wchar_t expected = unit;
    for (const Range& range : kRanges) {
      if (unit >= range.first && unit <= range.last) expected = static_cast<wchar_t>(unit + range.by);
    }
    EXPECT_EQ(lowerWide(std::wstring(1, unit)), std::wstring(1, expected)) << static_cast<unsigned>(unit);
  }
}

TEST(LowerAscii, LeavesUtf8BytesAlone) { EXPECT_EQ(lowerAscii("ABC-Я"), "abc-Я"); }

TEST(LowerAscii, EndsWithZ) { EXPECT_EQ(lowerAscii("@AZ["), "@az["); }

TEST(Trimmed, RemovesOnlyTheGivenCharacters) {
  EXPECT_EQ(trimmed(" \t a b\r\n", " \t\r\n"), "a b");
  EXPECT_EQ(trimmed(" \t", " \t"), "");
}

TEST(ParseUnsigned, ReadsAsStrtoullDoes) {
  EXPECT_EQ(parseUnsigned("42abc"), 42u);
  EXPECT_EQ(parseUnsigned("abc"), 0u);
  EXPECT_EQ(parseUnsigned(""), 0u);
  EXPECT_EQ(parseUnsigned("99999999999999999999999"), UINT64_MAX);
}

TEST(LineReader, SplitsAtLineFeedsOnly) {
  EXPECT_EQ(linesOf("a\r\n\nb"), (std::vector<std::string>{"a\r", "", "b"}));
  EXPECT_EQ(linesOf("a\n"), (std::vector<std::string>{"a"}));
  EXPECT_EQ(linesOf(""), std::vector<std::string>{});
}

}  // namespace
}  // namespace korvel

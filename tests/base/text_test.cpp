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

TEST(LowerAscii, LeavesUtf8BytesAlone) { EXPECT_EQ(lowerAscii("ABC-Я"), "abc-Я"); }

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

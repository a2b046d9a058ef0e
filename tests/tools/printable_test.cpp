#include "korvelctl/render/printable.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

TEST(Printable, KeepsLettersOfEveryScript) {
  EXPECT_EQ(printable(std::string_view("C:\\Загрузки\\ёж №1.exe")), "C:\\Загрузки\\ёж №1.exe");
}

TEST(Printable, ReplacesControlCharacters) {
  EXPECT_EQ(printable(std::string_view("a\x1b[2Jb\nc\td\x7f")), "a\uFFFD[2Jb\uFFFDc\uFFFDd\uFFFD");
  EXPECT_EQ(printable(std::wstring_view(L"a\x85z\x9b", 4)), "a\uFFFDz\uFFFD");
}

TEST(Printable, ReplacesMarksThatReorderText) {
  EXPECT_EQ(printable(std::wstring_view(L"invoice\x202E"
                                        L"fdp.exe")),
            "invoice\uFFFDfdp.exe");
  for (const wchar_t mark : L"\x061C\x200E\x200F\x202A\x202E\x2028\x2029\x2066\x2069") {
    if (mark == L'\0') break;
    EXPECT_EQ(printable(std::wstring_view(&mark, 1)), "\uFFFD") << static_cast<int>(mark);
  }
}

TEST(Printable, ReplacesMalformedBytes) {
  EXPECT_EQ(printable(std::string_view("a\xff"
                                       "b")),
            "a\uFFFDb");
}

TEST(ColumnsOf, CountsCharactersAndNotBytes) {
  EXPECT_EQ(columnsOf(""), 0u);
  EXPECT_EQ(columnsOf("abc"), 3u);
  EXPECT_EQ(columnsOf("Ёж"), 2u);
}

TEST(Shortened, LeavesATextThatFits) { EXPECT_EQ(shortened("Загрузки", 8), "Загрузки"); }

TEST(Shortened, CutsTheMiddleAtCharactersOfAnyWidth) {
  EXPECT_EQ(shortened("0123456789", 9), "01...6789");
  EXPECT_EQ(shortened("Загрузкииии", 9), "За...ииии");
}

TEST(Shortened, HasRoomForNoEllipsisInThreeColumns) {
  EXPECT_EQ(shortened("abcdef", 3), "abc");
  EXPECT_EQ(shortened("abcdef", 4), "...f");
  EXPECT_EQ(shortened("abcdef", 0), "");
}

TEST(Shortened, NeverExceedsItsColumns) {
  const std::string text = "C:\\Users\\Ёж\\AppData\\Local\\Temp\\a.exe";
  for (size_t columns = 0; columns < 50; ++columns) EXPECT_LE(columnsOf(shortened(text, columns)), columns);
}

}  // namespace
}  // namespace korvel::ctl

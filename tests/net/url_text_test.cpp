#include "net/url_text.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(ServerUrl, StripsEveryTrailingSlashOfTheServer) {
  EXPECT_EQ(serverUrl("https://srv", "/api/v1/signatures"), "https://srv/api/v1/signatures");
  EXPECT_EQ(serverUrl("https://srv/", "/api/v1/signatures"), "https://srv/api/v1/signatures");
  EXPECT_EQ(serverUrl("https://srv///", "/api/v1/releases"), "https://srv/api/v1/releases");
}

TEST(ServerUrl, KeepsInnerSlashesAndBlanks) {
  EXPECT_EQ(serverUrl("http://h:81//mirror/", "/x"), "http://h:81//mirror/x");
  EXPECT_EQ(serverUrl("http://h/ ", "/x"), "http://h/ /x");
}

TEST(ServerUrl, OfSlashesAloneIsTheBarePath) {
  EXPECT_EQ(serverUrl("///", "/x"), "/x");
  EXPECT_EQ(serverUrl("", "/x"), "/x");
}

TEST(WidenBytes, MakesOneUnitOfEachByteAndDecodesNothing) {
  EXPECT_EQ(widenBytes("a/\xD0\x9F"), (std::wstring{L'a', L'/', wchar_t{0xD0}, wchar_t{0x9F}}));
  EXPECT_EQ(widenBytes(std::string("\xFF\0x", 3)), (std::wstring{wchar_t{0xFF}, wchar_t{0}, L'x'}));
  EXPECT_EQ(widenBytes(""), L"");
}

TEST(HasForeignScheme, IsTrueForSchemesThatAreNotHttp) {
  for (const char* url : {"ftp://h/x", "file:///C:/x", "FTP://h", "x-y+z.1://h", "httpss://h", "htt://h"}) {
    EXPECT_TRUE(hasForeignScheme(url)) << url;
  }
}

TEST(HasForeignScheme, IsFalseForHttpInAnyCase) {
  for (const char* url : {"http://h", "https://h", "HTTP://h", "hTTpS://h"}) {
    EXPECT_FALSE(hasForeignScheme(url)) << url;
  }
}

TEST(HasForeignScheme, IsFalseWithoutAScheme) {
  for (const char* url : {"", "h", "h/x", "://h", "localhost:80", "mailto:a@b", "1tp://h", "a b://h",
                          "h/x?u=ftp://y", "ftp:/", "ftp:"}) {
    EXPECT_FALSE(hasForeignScheme(url)) << url;
  }
}

}  // namespace
}  // namespace korvel

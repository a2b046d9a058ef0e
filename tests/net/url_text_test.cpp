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
  for (const char* url :
       {"ftp://h/x", "file:///C:/x", "FTP://h", "x-y+z.1://h", "httpss://h", "htt://h", "mailto:a@b",
        "ftp:/x", "ftp:", "C:\\x", "ftp:?80", "ftp:#80", "ftp:/80", "ftp:80a", "ftp:8 0"}) {
    EXPECT_TRUE(hasForeignScheme(url)) << url;
  }
}

TEST(HasForeignScheme, IsFalseForAHostWithAPort) {
  for (const char* url : {"localhost:80", "localhost:80/x", "localhost:80?x", "localhost:80#x",
                          "srv.example:8080/a:b", "h:0", "h:99999999999999999999"}) {
    EXPECT_FALSE(hasForeignScheme(url)) << url;
  }
}

TEST(HasForeignScheme, IsFalseForHttpInAnyCase) {
  for (const char* url :
       {"http://h", "https://h", "HTTP://h", "hTTpS://h", "http:", "http:x", "https:/x", "HTTPS:80"}) {
    EXPECT_FALSE(hasForeignScheme(url)) << url;
  }
}

TEST(HasForeignScheme, IsMadeOfLettersAndDigitsUpToTheLast) {
  for (const char* url : {"az://h", "AZ://h", "a09://h", "a+-.://h"})
    EXPECT_TRUE(hasForeignScheme(url)) << url;
  for (const char* url :
       {"[x://h", "{x://h", "@x://h", "`x://h", "a[://h", "a{://h", "a@://h", "a/://h", "0a://h"})
    EXPECT_FALSE(hasForeignScheme(url)) << url;
  EXPECT_FALSE(hasForeignScheme("host:09/x"));
  EXPECT_TRUE(hasForeignScheme("host:0:")) << "no port";
}

TEST(HasForeignScheme, IsFalseWithoutAScheme) {
  for (const char* url : {"", "h", "h/x", "://h", ":", "1tp://h", "127.0.0.1:80", "+x:y", "a b://h",
                          " ftp://h", "h_x:y", "h/x?u=ftp://y", "\xD0\x9F:x"}) {
    EXPECT_FALSE(hasForeignScheme(url)) << url;
  }
}

TEST(ParseContentLength, IsADecimalNumberOf64Bits) {
  EXPECT_EQ(parseContentLength(L"0"), 0u);
  EXPECT_EQ(parseContentLength(L"0010"), 10u);
  EXPECT_EQ(parseContentLength(L"4294967296"), 4'294'967'296u);
  EXPECT_EQ(parseContentLength(L"18446744073709551615"), UINT64_MAX);
}

TEST(ParseContentLength, HasNoOtherDigits) {
  EXPECT_EQ(parseContentLength(L"09"), 9u);
  EXPECT_EQ(parseContentLength(L"0:"), std::nullopt);
  EXPECT_EQ(parseContentLength(L"0/"), std::nullopt);
}

TEST(ParseContentLength, IsAbsentForAnythingElse) {
  for (const wchar_t* text : {L"", L"18446744073709551616", L"99999999999999999999", L"-1", L"+1", L"1 ",
                              L" 1", L"1,1", L"0x10", L"ten"}) {
    EXPECT_EQ(parseContentLength(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace korvel

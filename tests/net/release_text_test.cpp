#include "net/release_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace korvel {
namespace {

std::string field(std::string_view text, std::string_view key) {
  return jsonStringField(text, key).value_or("<absent>");
}

struct Outcome {
  std::string version, url, error;
};

Outcome read(std::string_view document) {
  WindowsRelease release{"kept", "kept"};
  std::string error;
  if (readWindowsRelease(document, release, &error)) return {release.version, release.url, error};
  EXPECT_EQ(release.version, "kept");
  return {"", "", error};
}

TEST(JsonStringField, FindsTheStringBehindKeyAndColon) {
  EXPECT_EQ(field(R"({"version":"1.3.0"})", "version"), "1.3.0");
  EXPECT_EQ(field("{ \"version\"\r\n\t : \n \"1.3.0\" }", "version"), "1.3.0");
  EXPECT_EQ(field(R"({"version":""})", "version"), "");
}

TEST(JsonStringField, TakesTheFirstOccurrenceOfTheKey) {
  EXPECT_EQ(field(R"({"url":"a","url":"b"})", "url"), "a");
  EXPECT_EQ(field(R"({"myurl":"a","url":"b"})", "url"), "b");
}

TEST(JsonStringField, BackslashTakesTheNextCharacterAsItStands) {
  EXPECT_EQ(field(R"({"url":"https:\/\/h\/x"})", "url"), "https://h/x");
  EXPECT_EQ(field(R"({"url":"a\"b"})", "url"), "a\"b");
  EXPECT_EQ(field(R"({"url":"a\\"})", "url"), "a\\");
  EXPECT_EQ(field(R"({"url":"a\\\"b"})", "url"), "a\\\"b");
  EXPECT_EQ(field(R"({"url":"\n\u0041"})", "url"), "nu0041");
}

TEST(JsonStringField, ValueThatIsNoStringGoesOnToTheNextQuote) {
  EXPECT_EQ(field(R"({"version":5,"url":"x"})", "version"), "url");
  EXPECT_EQ(field(R"({"version":null})", "version"), "<absent>");
}

TEST(JsonStringField, IsAbsentWhenAPieceIsMissing) {
  EXPECT_EQ(field("", "url"), "<absent>");
  EXPECT_EQ(field(R"({url:"x"})", "url"), "<absent>");
  EXPECT_EQ(field(R"({"url")", "url"), "<absent>");
  EXPECT_EQ(field(R"({"url":)", "url"), "<absent>");
  EXPECT_EQ(field(R"({"url":"x)", "url"), "<absent>");
  EXPECT_EQ(field(R"({"url":"x\")", "url"), "<absent>");
  EXPECT_EQ(field(R"({"url":"x\)", "url"), "<absent>");
}

TEST(JsonStringField, DoesNotConfuseAValueBeforeTheColonWithOneAfterIt) {
  EXPECT_EQ(field(R"("url" "no" : "yes")", "url"), "yes");
}

TEST(JsonStringField, NoPrefixReadsBeyondItsEnd) {
  const std::string text = R"({"url" : "a\"b\\"})";
  const size_t complete = text.rfind('"') + 1;
  for (size_t length = 0; length <= text.size(); ++length) {
    const std::unique_ptr<char[]> block(new char[length]);
    std::copy_n(text.data(), length, block.get());
    EXPECT_EQ(field({block.get(), length}, "url"), length >= complete ? "a\"b\\" : "<absent>") << length;
  }
}

TEST(WindowsRelease, ReadsVersionAndUrlOfTheSection) {
  const Outcome outcome = read(R"({"schema":1,"windows":{"version":"1.3.0","url":"https://h/s.exe"},
                                   "android":{"version":"9","url":"https://h/a.apk"}})");
  EXPECT_EQ(outcome.version, "1.3.0");
  EXPECT_EQ(outcome.url, "https://h/s.exe");
  EXPECT_EQ(outcome.error, "");
}

TEST(WindowsRelease, MembersMayStandInAnyOrderAndTheSectionLast) {
  const Outcome outcome =
      read(R"({"android":{"version":"9","url":"a"},"windows":{"url":"u","version":"v"}})");
  EXPECT_EQ(outcome.version, "v");
  EXPECT_EQ(outcome.url, "u");
}

TEST(WindowsRelease, WithoutTheKeyThereIsNoSection) {
  for (const char* document :
       {"", "short", "\"windows", "{windows:{}}", "{\"Windows\":{\"version\":\"1\"}}"}) {
    EXPECT_EQ(read(document).error, "в releases.json нет секции windows") << document;
  }
}

TEST(WindowsRelease, KeyAloneIsASectionWithoutMembers) {
  EXPECT_EQ(read("\"windows\"").error, "в секции windows нет version/url");
}

TEST(WindowsRelease, MemberOfTheAndroidSectionDoesNotCount) {
  EXPECT_EQ(
      read(R"({"windows":{"version":"1.3.0"},"android":{"version":"9","url":"https://h/a.apk"}})").error,
      "в секции windows нет version/url");
  EXPECT_EQ(read(R"({"windows":{"url":"u"},"android":{"version":"9"}})").error,
            "в секции windows нет version/url");
}

TEST(WindowsRelease, StringThatReachesIntoTheAndroidSectionIsUnclosed) {
  const std::string missing = "в секции windows нет version/url";
  EXPECT_EQ(read(R"({"windows":{"url":"u","version":"1"android""}})").error, missing);
  EXPECT_EQ(read(R"({"windows":{"url":"u","version":"1 "android":"x"}})").error, missing);
  EXPECT_EQ(read(R"({"windows":{"url":"u","version":7,"android":"x"}})").error, missing);
}

TEST(LooksLikeInstaller, NeedsExactly65536BytesAtLeastAndTheTwoLetters) {
  std::string body(65'536, '\0');
  body[0] = 'M';
  body[1] = 'Z';
  EXPECT_TRUE(looksLikeInstaller(body));
  EXPECT_FALSE(looksLikeInstaller(std::string_view(body).substr(0, 65'535)));
  body[1] = 'z';
  EXPECT_FALSE(looksLikeInstaller(body));
  EXPECT_FALSE(looksLikeInstaller(""));
  EXPECT_FALSE(looksLikeInstaller("MZ"));
  EXPECT_FALSE(looksLikeInstaller("<html>" + std::string(100'000, ' ')));
}

}  // namespace
}  // namespace korvel

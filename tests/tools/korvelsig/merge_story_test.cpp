#include "korvelsig/merge_story.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "korvelsig_run.h"
#include "signatures/signature_text.h"

namespace korvel::sig {
namespace {

using test::kSha256A;
using test::kSha256B;

struct Story {
  std::string text;  ///< "file:line outcome [condition]" for each line
  std::optional<StoryEntry> answer;
};

Story tell(const std::vector<std::string>& files) {
  hash::Digest digest;
  digest.parse(kSha256A);
  MergeStory story(digest);
  for (size_t at = 0; at < files.size(); ++at) {
    story.beginFile(std::string(1, static_cast<char>('a' + at)));
    for (const char& c : files[at]) story.feed({&c, 1});
    story.endFile();
  }
  Story told;
  for (const StoryLine& line : story.lines()) {
    told.text += (told.text.empty() ? "" : ", ") + line.file + ":" + std::to_string(line.line) + " " +
                 outcomeName(line.outcome) + (line.condition.empty() ? "" : " " + line.condition);
  }
  if (story.winner()) told.answer = story.lines()[*story.winner()].entry;
  return told;
}

TEST(MergeStory, NamesTheLineThatWinsByEachCondition) {
  EXPECT_EQ(tell({kSha256A + ":N\n", "\n" + kSha256A + ":t:F:low:M:R\n"}).text,
            "a:1 added, b:2 replaced reference");
  EXPECT_EQ(tell({kSha256A + ":N::\n", kSha256A + ":M:F\n"}).text, "a:1 added, b:1 replaced family");
  EXPECT_EQ(tell({kSha256A + "\n", kSha256A + ":M\n"}).text, "a:1 added, b:1 replaced name");
}

TEST(MergeStory, NamesTheLineThatLoses) {
  EXPECT_EQ(tell({kSha256A + ":N\n", kSha256A + "\n"}).text, "a:1 added, b:1 lost");
  EXPECT_EQ(tell({kSha256A + ":t:F:low:N:R\n", kSha256A + ":t:F:critical:M:Q\n"}).text,
            "a:1 added, b:1 lost");
}

TEST(MergeStory, WithinAFileTheFirstLineGoesIntoTheMerge) {
  EXPECT_EQ(tell({kSha256A + "\n" + kSha256B + ":X\n" + kSha256A + ":N\n",
                  kSha256A + ":M\n" + kSha256A + ":t:F:low:L:R\n"})
                .text,
            "a:1 added, a:3 repeated, b:1 replaced name, b:2 repeated");
}

TEST(MergeStory, ALineThatTheServiceSkipsIsTold) {
  EXPECT_EQ(tell({kSha256A + " :N\n"}).text, "a:1 skipped");
  EXPECT_EQ(tell({kSha256A + " :N\n"}).answer, std::nullopt);
}

TEST(MergeStory, AnUnlistedDigestHasNoStory) { EXPECT_EQ(tell({kSha256B + ":N\n", ""}).text, ""); }

TEST(MergeStory, TheAnswerIsThatOfTheServicesMerge) {
  std::mt19937_64 random(3);
  const auto oneOf = [&random](std::initializer_list<const char*> texts) {
    return std::string(texts.begin()[random() % texts.size()]);
  };
  for (int round = 0; round < 5'000; ++round) {
    std::vector<std::string> files;
    SignatureTable table;
    for (size_t left = 1 + random() % 4; left > 0; --left) {
      std::string text;
      for (size_t lines = random() % 3; lines > 0; --lines) {
        const std::string name = oneOf({"", "Win.Trojan.Generic", "N", "M"});
        const std::string family = oneOf({"", "F", "Win.Trojan.Generic"});
        text += kSha256A + oneOf({":", "", ":t:"});
        if (text.ends_with("t:")) {
          text += family + ":high:" + name + ":" + oneOf({"", "R"}) + ":";
        } else if (text.ends_with(":")) {
          text += name + ":" + family + ":";
        }
        text += "\n";
      }
      table = mergedTable(parseSignatureText(text).table, table);
      files.push_back(text);
    }
    hash::Digest digest;
    digest.parse(kSha256A);
    SignatureFields held;
    const std::optional<StoryEntry> answer = tell(files).answer;
    ASSERT_EQ(answer.has_value(), table.fields(digest.bytes(), held)) << round;
    if (!answer) continue;
    ASSERT_EQ(*answer, storyEntryOf(held)) << round;
  }
}

}  // namespace
}  // namespace korvel::sig

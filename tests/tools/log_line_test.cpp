#include "korvelctl/model/log_line.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

TEST(LogLine, HasATimeALevelAndAText) {
  EXPECT_EQ(parseLogLine("07:12:45.061 [WRN] live update failed: x"),
            (LogLine{"07:12:45.061", "WRN", "live update failed: x"}));
  EXPECT_EQ(parseLogLine("07:12:45.061 [???] "), (LogLine{"07:12:45.061", "???", ""}));
}

TEST(LogLine, AnythingElseIsTextOnly) {
  for (const char* line : {"", "crash: UNHANDLED EXCEPTION", "07:12:45.061 [WRN]", "7:12:45.061 [WRN] x",
                           "07:12:45,061 [WRN] x", "07:12:45.061 (WRN) x"}) {
    EXPECT_EQ(parseLogLine(line), (LogLine{"", "", line})) << line;
  }
}

TEST(LogLine, TheLastLinesAreCountedFromTheEnd) {
  const std::string text = "one\ntwo\nthree\n";
  EXPECT_EQ(text.substr(beginOfLastLines(text, 1)), "three\n");
  EXPECT_EQ(text.substr(beginOfLastLines(text, 2)), "two\nthree\n");
  EXPECT_EQ(beginOfLastLines(text, 3), 0u);
  EXPECT_EQ(beginOfLastLines(text, 4), 0u);
  EXPECT_EQ(beginOfLastLines(text, 0), text.size());
  EXPECT_EQ(beginOfLastLines("", 5), 0u);
  EXPECT_EQ(beginOfLastLines("\n", 1), 0u);
  EXPECT_EQ(beginOfLastLines("a\n\n", 1), 2u);
}

TEST(LogLine, ALineWithoutItsEndIsOneToo) {
  const std::string text = "one\ntwo";
  EXPECT_EQ(text.substr(beginOfLastLines(text, 1)), "two");
}

TEST(LogLine, PiecesOfAGrowingFileBecomeWholeLines) {
  LineCollector lines;
  EXPECT_EQ(lines.take("on"), std::vector<std::string>{});
  EXPECT_EQ(lines.take("e\ntwo\nth"), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(lines.take("\n\n"), (std::vector<std::string>{"th", ""}));
  EXPECT_EQ(lines.take("rest"), std::vector<std::string>{});
  EXPECT_EQ(lines.rest(), "rest");
  EXPECT_EQ(lines.rest(), "");
}

TEST(LogLine, SizesHaveUnitsOf1024) {
  EXPECT_EQ(parseSize("0"), 0u);
  EXPECT_EQ(parseSize("1000"), 1'000u);
  EXPECT_EQ(parseSize("512K"), 524'288u);
  EXPECT_EQ(parseSize("10M"), 10'485'760u);
  EXPECT_EQ(parseSize("10m"), 10'485'760u);
  EXPECT_EQ(parseSize("1g"), 1'073'741'824u);
  EXPECT_EQ(parseSize("8589934592G"), uint64_t{1} << 63);
  for (const char* text :
       {"", "M", "10MB", "-1", "+1", " 1", "1.5M", "0x10", "8589934593G", "99999999999999999999"}) {
    EXPECT_EQ(parseSize(text), std::nullopt) << text;
  }
}

TEST(LogLine, ARotationMovesTheOldestPartFirst) {
  EXPECT_EQ(logMoves(L"k.log", 3),
            (std::vector<LogMove>{{L"k.log.2", L"k.log.3"}, {L"k.log.1", L"k.log.2"}}));
  EXPECT_TRUE(logMoves(L"k.log", 1).empty());
}

}  // namespace
}  // namespace korvel::ctl

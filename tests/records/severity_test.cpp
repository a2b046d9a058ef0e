#include "records/severity.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(SeverityName, NamesTheScaleAndNothingElse) {
  EXPECT_STREQ(severityName(0), "clean");
  EXPECT_STREQ(severityName(1), "low");
  EXPECT_STREQ(severityName(2), "medium");
  EXPECT_STREQ(severityName(3), "high");
  EXPECT_STREQ(severityName(4), "critical");
  for (const Severity other : {-1, 5, INT32_MIN, INT32_MAX}) EXPECT_STREQ(severityName(other), "unknown");
}

TEST(ParseSeverity, KnowsFourNamesInAnyCase) {
  EXPECT_EQ(parseSeverity("low"), 1);
  EXPECT_EQ(parseSeverity("medium"), 2);
  EXPECT_EQ(parseSeverity("high"), 3);
  EXPECT_EQ(parseSeverity("critical"), 4);
  EXPECT_EQ(parseSeverity("HIGH"), 3);
  EXPECT_EQ(parseSeverity("CriTical"), 4);
}

TEST(ParseSeverity, GivesZeroForEverythingElse) {
  for (const char* text : {"", "clean", "unknown", " high", "high ", "hig", "3", "высокий"}) {
    EXPECT_EQ(parseSeverity(text), 0) << text;
  }
}

}  // namespace
}  // namespace korvel

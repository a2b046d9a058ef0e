#include "scan/scan_cache_text.h"

#include <gtest/gtest.h>

#include <memory>

namespace korvel {
namespace {

ScanCacheTable tableOf(std::string_view text) {
  ScanCacheTable table;
  table.parse(text);
  return table;
}

TEST(ScanCacheText, WritesOneLineAFile) {
  ScanCacheTable table;
  table.record("C:\\б.exe", {2, 133'000'000'000'000'000, kSeverityHigh});
  table.record("C:\\a.exe", {0, 0, kSeverityClean});
  EXPECT_EQ(table.format(), "C:\\a.exe|0|0|clean\nC:\\б.exe|2|133000000000000000|high\n");
}

TEST(ScanCacheText, AnEmptyCacheIsAnEmptyText) {
  EXPECT_EQ(ScanCacheTable().format(), "");
  EXPECT_EQ(tableOf("").size(), 0u);
}

TEST(ScanCacheText, ReadsBackWhatItWrote) {
  ScanCacheTable table;
  for (Severity severity = 0; severity <= 4; ++severity) {
    table.record("C:\\" + std::to_string(severity),
                 {UINT64_MAX - static_cast<uint64_t>(severity), 7, severity});
  }
  table.record("C:\\with|bars|1|2|high", {1, 2, kSeverityLow});
  const ScanCacheTable back = tableOf(table.format());
  EXPECT_EQ(back.format(), table.format());
  ASSERT_EQ(back.size(), 6u);
  ASSERT_NE(back.find("C:\\with|bars|1|2|high"), nullptr);
  EXPECT_EQ(*back.find("C:\\with|bars|1|2|high"), (ScanCacheEntry{1, 2, kSeverityLow}));
  EXPECT_EQ(*back.find("C:\\0"), (ScanCacheEntry{UINT64_MAX, 7, kSeverityClean}));
}

TEST(ScanCacheText, AFileScannedAgainReplacesItsLine) {
  ScanCacheTable table = tableOf("p|1|2|low\np|3|4|high\n");
  EXPECT_EQ(table.format(), "p|3|4|high\n");
  table.record("p", {5, 6, kSeverityMedium});
  EXPECT_EQ(table.format(), "p|5|6|medium\n");
  table.parse("p|7|8|critical\nq|1|1|clean\n");
  EXPECT_EQ(table.format(), "p|7|8|critical\nq|1|1|clean\n");
}

TEST(ScanCacheText, SkipsBadLinesAndKeepsTheOthers) {
  for (const char* bad : {"", "p", "p|1", "p|1|2", "|1|2|low", "p||2|low", "p|1||low", "p|x|2|low",
                          "p|1|-2|low", "p|1| 2|low", "p|1|2 |low", "p|1|+2|low", "p|0x1|2|low",
                          "p|18446744073709551616|2|low", "p|1|18446744073709551616|low"}) {
    EXPECT_EQ(tableOf("a|1|2|low\n" + std::string(bad) + "\nb|3|4|low\n").format(), "a|1|2|low\nb|3|4|low\n")
        << bad;
  }
}

TEST(ScanCacheText, AnUnknownSeverityReadsAsClean) {
  EXPECT_EQ(tableOf("p|1|2|unknown\n").format(), "p|1|2|clean\n");
  EXPECT_EQ(tableOf("p|1|2|\n").format(), "p|1|2|clean\n");
  EXPECT_EQ(tableOf("p|1|2|HIGH\n").format(), "p|1|2|high\n");
}

TEST(ScanCacheText, TheLastLineNeedsNoLineFeed) { EXPECT_EQ(tableOf("p|1|2|low").format(), "p|1|2|low\n"); }

TEST(ScanCacheText, DoesNotRememberAPathThatWouldReadAsTwoLines) {
  ScanCacheTable table;
  table.record("a\nb", {1, 2, kSeverityLow});
  table.record("", {1, 2, kSeverityLow});
  EXPECT_EQ(table.size(), 0u);
}

TEST(ScanCacheText, FindsNothingForAnUnknownPath) { EXPECT_EQ(tableOf("p|1|2|low\n").find("P"), nullptr); }

TEST(ScanCacheText, EveryPrefixOfACacheIsRead) {
  const std::string text = "C:\\a|b|10|20|low\r\nC:\\c|30|40|critical\n";
  for (size_t length = 0; length <= text.size(); ++length) {
    const auto block = std::make_unique<char[]>(length);
    text.copy(block.get(), length);
    const ScanCacheTable table = tableOf({block.get(), length});
    EXPECT_EQ(tableOf(table.format()).format(), table.format()) << length;
  }
}

}  // namespace
}  // namespace korvel

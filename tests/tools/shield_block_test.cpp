#include "korvelctl/model/shield_block.h"

#include <gtest/gtest.h>

#include "remedy/hosts_block.h"

namespace korvel::ctl {
namespace {

TEST(ShieldBlock, CountsWhatTheServiceHasWritten) {
  const ShieldBlock block = inspectShieldBlock(
      applyHostsBlock("127.0.0.1 localhost\n# mine\n", {"a.example", "b.example", "www.c.example"}));
  EXPECT_EQ(block.blocks, 1u);
  EXPECT_EQ(block.entries, 5u);
  EXPECT_EQ(block.domains, 3u);
  EXPECT_EQ(block.duplicates, 0u);
  EXPECT_EQ(block.foreign, 0u);
  EXPECT_EQ(block.userLines, 1u);
  EXPECT_EQ(block.lines, 2u + 1u + 2u + 5u);
  EXPECT_FALSE(block.unclosed);
}

TEST(ShieldBlock, FileWithoutABlockHasOnlyTheUsersLines) {
  const ShieldBlock block = inspectShieldBlock("1.2.3.4 mine\r\n\r\n# korvel web shield begin\n");
  EXPECT_FALSE(block.present());
  EXPECT_EQ(block.userLines, 1u);
  EXPECT_EQ(block.lines, 3u);
  EXPECT_EQ(inspectShieldBlock(""), ShieldBlock{});
}

TEST(ShieldBlock, FindsDuplicatesForeignLinesAndEntriesLeftBehind) {
  const ShieldBlock block = inspectShieldBlock(
      "127.0.0.1 old.example # korvel-blocked\n"
      "# KORVEL WEB SHIELD BEGIN\n"
      "127.0.0.1 a.example # korvel-blocked\n"
      "127.0.0.1 a.example # korvel-blocked\n"
      "\n"
      "10.0.0.1 printer\n"
      " # KORVEL WEB SHIELD END \r\n");
  EXPECT_EQ(block.entries, 2u);
  EXPECT_EQ(block.domains, 1u);
  EXPECT_EQ(block.duplicates, 1u);
  EXPECT_EQ(block.foreign, 1u);
  EXPECT_EQ(block.foreignLines, std::vector<std::string>{"10.0.0.1 printer"});
  EXPECT_EQ(block.leftBehind, 1u);
}

TEST(ShieldBlock, TellsOfABlockWithoutItsEndAndOfASecondOne) {
  const std::string begin = "# KORVEL WEB SHIELD BEGIN\n";
  EXPECT_TRUE(inspectShieldBlock(begin + "1.2.3.4 mine\n").unclosed);
  EXPECT_EQ(inspectShieldBlock(begin + "1.2.3.4 mine\n").foreign, 1u);
  const ShieldBlock two =
      inspectShieldBlock(begin + "# KORVEL WEB SHIELD END\n" + begin + "# KORVEL WEB SHIELD END\n");
  EXPECT_EQ(two.blocks, 2u);
  EXPECT_FALSE(two.unclosed);
}

TEST(ShieldBlock, KeepsNoMoreThanTenForeignLines) {
  std::string hosts = "# KORVEL WEB SHIELD BEGIN\n";
  for (int i = 0; i < 20; ++i) hosts += "10.0.0.1 h" + std::to_string(i) + "\n";
  EXPECT_EQ(inspectShieldBlock(hosts).foreign, 20u);
  EXPECT_EQ(inspectShieldBlock(hosts).foreignLines.size(), 10u);
}

}  // namespace
}  // namespace korvel::ctl

// What the documents say about exit codes, settings, extensions and findings is what the code does.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/utf.h"
#include "korvelctl/cli/exit_codes.h"
#include "pe/pe_analysis.h"
#include "pe/pe_rules.h"
#include "records/settings_keys.h"
#include "scan/file_rules.h"
#include "scan/scan_filter.h"
#include "support/exit_meanings.h"

namespace korvel::test {
namespace {

std::string document(const std::string& name) {
  std::ifstream file(std::filesystem::path(KORVEL_TREE_DIR) / name, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  EXPECT_FALSE(text.empty()) << name;
  return text;
}

bool has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(Documents, GiveTheExitCodesOfTheTable) {
  std::string table = "| exit code | meaning |\n|---|---|\n";
  for (const ExitMeaning& meaning : kExitMeanings)
    table += "| " + std::to_string(meaning.code) + " | " + std::string(meaning.text) + " |\n";
  for (const char* name : {"README.md", "docs/korvelctl.md"}) EXPECT_TRUE(has(document(name), table)) << name;
}

TEST(Documents, OrderTheExitCodesAsTheProgramDoes) {
  const std::string page = document("docs/korvelctl.md");
  const std::string begin = "the first of ";
  const size_t at = page.find(begin);
  ASSERT_NE(at, std::string::npos);
  std::vector<int> order;
  for (size_t next = at + begin.size(); page[next - 2] == ',' || order.empty();) {
    size_t digits = 0;
    order.push_back(std::stoi(page.substr(next), &digits));
    next += digits + 2;
  }
  EXPECT_EQ(order.size(), std::size(kExitMeanings));
  for (size_t i = 1; i < order.size(); ++i)
    EXPECT_EQ(ctl::weightierExit(order[i], order[i - 1]), order[i - 1]) << i;
}

TEST(Documents, ExplainEverySetting) {
  const std::string page = document("docs/operation.md");
  for (const SettingKey& setting : kSettingKeys)
    EXPECT_TRUE(has(page, "\n| `" + std::string(setting.key) + "` | ")) << setting.key;
}

TEST(Documents, NameEveryScannedExtensionAndHowMany) {
  const std::string page = document("docs/operation.md");
  const auto extensions = scannedExtensions();
  EXPECT_TRUE(has(page, "these " + std::to_string(extensions.size()) + " extensions"));
  for (const std::wstring_view extension : extensions)
    EXPECT_TRUE(has(page, "`" + toUtf8(extension) + "`")) << toUtf8(extension);
}

TEST(Documents, ListEveryRule) {
  RuleTrace rules;
  PeAnalysis image;
  (void)peFindings(image.info, "", 0, &image.rules);
  (void)buildVerdict(L"C:\\a.exe", L"a.exe", 1, 0, std::nullopt, image, false, {}, &rules);
  EXPECT_GE(rules.size(), 11u);
  const std::string page = document("docs/operation.md");
  for (const auto& rule : rules) EXPECT_TRUE(has(page, "\n| `" + rule.code + "` | ")) << rule.code;
}

}  // namespace
}  // namespace korvel::test

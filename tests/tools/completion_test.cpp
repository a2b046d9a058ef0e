#include "korvelctl/render/completion.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace korvel::ctl {
namespace {

constexpr Text kPlain{"some help", "какая-то справка"};
constexpr Text kQuotes{"the service's \u2018own\u2019 $pipe", "канал службы ’x’"};

class Completion : public testing::Test {
 protected:
  Completion() : root_("korvelctl", kPlain) {
    Command& group = root_.add("threats", kPlain);
    group.add("delete", kQuotes, [](Context&) { return 0; })
        .flag("-a,--all", all_, kPlain)
        .choice("--min-severity", {"high", "critical"}, severity_, kPlain)
        .argumentChoice("STATE", {"on", "off"}, state_, kPlain);
  }
  bool has(const std::string& part, Language language = Language::kEnglish) {
    return powershellCompletion(root_, language).find(part) != std::string::npos;
  }

  bool all_ = false;
  std::string severity_, state_;
  Command root_;
};

TEST_F(Completion, KnowsCommandsOptionsAndTheWordsThatTheyTake) {
  EXPECT_TRUE(has("$words[''] = @(\n    ,@('threats', 'some help')\n  )"));
  EXPECT_TRUE(has("$words['threats'] = @(\n    ,@('delete', "));
  EXPECT_TRUE(
      has("$words['threats delete'] = @(\n    ,@('on', 'some help')\n    ,@('off', 'some help')\n"
          "    ,@('-a', 'some help')\n    ,@('--all', 'some help')\n"));
  EXPECT_TRUE(has("$choices['threats delete --min-severity'] = @('high', 'critical')\n"));
}

TEST_F(Completion, KnowsTheOptionsOfEveryCommand) {
  EXPECT_TRUE(has(",@('--json', "));
  EXPECT_TRUE(has("$choices[' --lang'] = @('ru', 'en')\n"));
}

TEST_F(Completion, QuotesCannotEndAText) {
  EXPECT_TRUE(has("'the service''s \u2018\u2018own\u2019\u2019 $pipe'"));
  EXPECT_TRUE(has("'канал службы ’’x’’'", Language::kRussian));
}

TEST_F(Completion, BracketsAreBalanced) {
  const std::string script = powershellCompletion(root_, Language::kEnglish);
  for (const char* pair : {"()", "{}", "[]"}) {
    EXPECT_EQ(std::count(script.begin(), script.end(), pair[0]),
              std::count(script.begin(), script.end(), pair[1]));
  }
  EXPECT_TRUE(script.ends_with("}\n"));
}

}  // namespace
}  // namespace korvel::ctl

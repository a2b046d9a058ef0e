// The help of korvelctl: whole in both languages, with examples that it understands.
#include <regex>
#include <set>

#include "e2e/control_client.h"

namespace korvel::test {
namespace {

class Help : public ControlClient {
 protected:
  static std::string help(const std::wstring& command, const wchar_t* language) {
    const Finished run = runToEnd(controlExecutable(), L"help " + command + L" --lang " + language);
    EXPECT_EQ(run.exitCode, 0u) << toUtf8(command) << run.errorOutput;
    return run.output;
  }
  /// The names in the section "Commands:".
  static std::vector<std::wstring> commandsOf(const std::string& text) {
    std::vector<std::wstring> names;
    size_t at = text.find("\nCommands:\n");
    if (at == std::string::npos) return names;
    at += 11;
    while (at < text.size() && text[at] != '\n') {
      const size_t end = text.find('\n', at);
      const std::string line = text.substr(at, end - at);
      if (line.size() > 2 && line[2] != ' ') names.push_back(toWide(line.substr(2, line.find(' ', 2) - 2)));
      at = end + 1;
    }
    return names;
  }
  static std::set<std::string> optionsOf(const std::string& text) {
    static const std::regex option("--[a-z][a-z-]*");
    return {std::sregex_token_iterator(text.begin(), text.end(), option), std::sregex_token_iterator()};
  }
  static std::vector<std::wstring> allCommands() {
    std::vector<std::wstring> all = {L""};
    for (size_t i = 0; i < all.size(); ++i) {
      for (const std::wstring& name : commandsOf(help(all[i], L"en")))
        all.push_back(all[i].empty() ? name : all[i] + L" " + name);
    }
    return all;
  }
};

TEST_F(Help, EveryCommandHasTheSameOptionsInBothLanguagesAndAnExample) {
  const std::vector<std::wstring> all = allCommands();
  EXPECT_GE(all.size(), 30u);
  for (const std::wstring& command : all) {
    const std::string english = help(command, L"en"), russian = help(command, L"ru");
    EXPECT_EQ(optionsOf(english), optionsOf(russian)) << toUtf8(command);
    const bool isGroup = has(english, "\nCommands:\n");
    EXPECT_TRUE(isGroup || has(english, "\nExamples:\n")) << toUtf8(command);
    for (const char* internal : {"TEXT", "UINT", "ENUM", "[OPTIONS]", "SUBCOMMAND", "REQUIRED"})
      EXPECT_FALSE(has(english, internal)) << toUtf8(command) << internal;
  }
}

TEST_F(Help, EveryExampleIsUnderstood) {
  for (const std::wstring& command : allCommands()) {
    const std::string text = help(command, L"en");
    size_t at = text.find("\nExamples:\n");
    while (at != std::string::npos && (at = text.find("\n  korvelctl ", at)) != std::string::npos) {
      const size_t end = text.find('\n', at + 1);
      const std::string line = text.substr(at + 13, end - at - 13);
      at = end;
      const Finished run = ctl(toWide(line) + L" --help");
      EXPECT_EQ(run.exitCode, 0u) << line << run.errorOutput;
    }
  }
}

TEST_F(Help, LinesFitIntoAConsole) {
  for (const std::wstring& command : allCommands()) {
    for (const wchar_t* language : {L"en", L"ru"}) {
      const std::string text = help(command, language);
      for (size_t at = 0; at < text.size();) {
        const size_t end = text.find('\n', at);
        const std::wstring line = toWide(text.substr(at, end - at));
        EXPECT_LE(line.size(), 100u) << toUtf8(line);
        at = end + 1;
      }
    }
  }
}

}  // namespace
}  // namespace korvel::test

#include "korvelctl/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <map>

#include "korvelctl/cli/failure.h"
#include "korvelctl/cli/suggestion.h"
#include "korvelctl/cli/words/common_words.h"
#include "korvelctl/render/printable.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kLongestTimeoutSeconds = 86'400;

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

std::vector<std::string> namesOf(const std::vector<std::unique_ptr<Command>>& commands) {
  std::vector<std::string> names;
  names.reserve(commands.size());
  for (const auto& command : commands) names.push_back(command->name());
  return names;
}

/// "--lines" of "-n,--lines".
std::string longName(const OptionSpec& option) {
  return option.names.substr(option.names.find_last_of(',') + 1);
}

/// One command line. The library splits it into commands, options and other words; what they mean is decided
/// here, so that every error is in the user's language and names what the user typed.
class Line {
 public:
  Line(const Command& root, Language language) : root_(root), app_("", root.name()) {
    parsed_.global.language = language;
    global_ = globalOptionSpecs(parsed_.global, texts_, json_, ndjson_, parsed_.help, parsed_.version);
    prepare(app_, root);
    for (const OptionSpec& option : global_) addOption(app_, option);
  }

  ParsedLine parse(std::vector<std::string> arguments) {
    const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
    if (dashes != arguments.end()) {
      plainWords_.assign(dashes + 1, arguments.end());
      arguments.erase(dashes, arguments.end());
    }
    std::replace(arguments.begin(), arguments.end(), std::string("/?"), std::string("--help"));
    std::reverse(arguments.begin(), arguments.end());  // the library takes them from the back
    split(std::move(arguments));
    command_ = &root_;
    findCommand(app_);
    parsed_.command = command_;
    readValues(global_);
    finishGlobal();
    if (parsed_.help) requireNoStrangers();
    if (parsed_.help || parsed_.version) return parsed_;
    for (const Command* command = command_; command != nullptr; command = command->parent())
      readValues(command->options());
    readArguments();
    command_->runChecks(parsed_.global);
    return parsed_;
  }

 private:
  [[noreturn]] void wrong(const Text& text, std::initializer_list<std::string_view> values,
                          const std::string& meant = {}) const {
    const Language language = parsed_.global.language;
    std::string message = filled(text, language, values);
    if (!meant.empty()) message += "; " + filled(words::kDidYouMean, language, {meant});
    const Command& about = command_ == nullptr ? root_ : *command_;
    throw Failure(ErrorKind::kUsage, message, filled(words::kSeeHelp, language, {about.fullName()}));
  }

  void prepare(CLI::App& app, const Command& command) {
    app.set_help_flag();
    app.allow_windows_style_options(false);
    app.allow_extras();
    app.fallthrough();
    app.require_subcommand(0, 1);
    for (const OptionSpec& option : command.options()) addOption(app, option);
    for (const auto& child : command.commands()) {
      CLI::App* sub = app.add_subcommand(child->name());
      prepare(*sub, *child);
      commandOf_[sub] = child.get();
    }
  }

  void addOption(CLI::App& app, const OptionSpec& option) {
    std::vector<std::string>& values =
        values_[option.names + "\n" + std::to_string(reinterpret_cast<uintptr_t>(&option))];
    CLI::Option* added = nullptr;
    if (option.flag != nullptr) {
      added = app.add_flag(option.names);
    } else {
      // One value for each time the option is given; brackets in a value mean nothing.
      added = app.add_option(option.names, values)->expected(1)->allow_extra_args(false);
    }
    added->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    optionOf_[&option] = added;
  }

  void split(std::vector<std::string> arguments) {
    try {
      app_.parse(std::move(arguments));
    } catch (const CLI::ArgumentMismatch& problem) {
      const std::string text = problem.what();
      wrong(words::kValueMissing, {text.substr(0, text.find_first_of(": "))});
    } catch (const CLI::ConversionError& problem) {  // a value behind a switch: --json=x
      const std::string text = problem.what();
      wrong(words::kValueUnwanted, {text.substr(0, text.find_first_of(": "))});
    } catch (const CLI::InvalidError& problem) {
      wrong(words::kUnexpectedArgument, {problem.what()});
    }
    rest_ = app_.remaining(/*recurse=*/true);
  }

  void findCommand(const CLI::App& app) {
    for (CLI::App* sub : app.get_subcommands()) {
      command_ = commandOf_.at(sub);
      findCommand(*sub);
    }
  }

  void readValues(const std::vector<OptionSpec>& options) {
    for (const OptionSpec& option : options) {
      const CLI::Option* given = optionOf_.at(&option);
      if (given->count() == 0) continue;
      if (option.flag != nullptr) {
        *option.flag = true;
        continue;
      }
      const std::vector<std::string> values = given->results();
      const std::string& last = values.back();
      if (option.texts != nullptr) *option.texts = values;
      if (option.text != nullptr) *option.text = chosen(longName(option), option.choices, last);
      if (option.number != nullptr) *option.number = numberIn(option, last);
    }
  }

  std::string chosen(const std::string& name, const std::vector<std::string>& choices,
                     const std::string& value) const {
    if (choices.empty() || std::find(choices.begin(), choices.end(), value) != choices.end()) return value;
    wrong(words::kNotAChoice, {name, joined(choices), printable(value)}, closestWord(value, choices));
  }

  uint64_t numberIn(const OptionSpec& option, const std::string& value) const {
    uint64_t number = 0;
    const char* end = value.data() + value.size();
    const auto [stop, problem] = std::from_chars(value.data(), end, number);
    if (problem != std::errc() || stop != end || number < option.least || number > option.most) {
      wrong(words::kNotANumber,
            {longName(option), std::to_string(option.least), std::to_string(option.most), printable(value)});
    }
    return number;
  }

  void finishGlobal() {
    GlobalOptions& global = parsed_.global;
    if (!texts_.language.empty())
      global.language = texts_.language == "ru" ? Language::kRussian : Language::kEnglish;
    if (json_ + ndjson_ + (texts_.format.empty() ? 0 : 1) > 1) wrong(words::kOneDocumentForm, {});
    if (json_) global.mode = OutputMode::kJson;
    if (ndjson_) global.mode = OutputMode::kNdjson;
    if (texts_.format == "list") global.mode = OutputMode::kList;
    if (texts_.format == "csv") global.mode = OutputMode::kCsv;
  }

  /// Help about a command that does not exist is wrong; an argument of one that does is not looked at.
  void requireNoStrangers() const {
    if (!rest_.empty() && !command_->commands().empty() && command_->takes().empty()) wrongCommand(rest_);
  }

  /// The words that are left are the command's arguments, or wrong.
  void readArguments() {
    std::vector<std::string> words;
    for (const std::string& word : rest_) {
      if (word.size() > 1 && word[0] == '-') wrongOption(word);
      words.push_back(word);
    }
    words.insert(words.end(), plainWords_.begin(), plainWords_.end());
    if (!command_->run()) wrongCommand(words);
    size_t next = 0;
    for (const ArgumentSpec& argument : command_->takes()) {
      if (next == words.size()) {
        if (argument.required) wrong(words::kArgumentMissing, {argument.name});
        continue;
      }
      if (argument.texts != nullptr) {
        argument.texts->assign(words.begin() + static_cast<ptrdiff_t>(next), words.end());
        next = words.size();
      } else {
        *argument.text = chosen(argument.name, argument.choices, words[next++]);
      }
    }
    if (next == words.size()) return;
    if (!command_->commands().empty())
      wrongCommand({words.begin() + static_cast<ptrdiff_t>(next), words.end()});
    wrong(words::kUnexpectedArgument, {printable(words[next])});
  }

  [[noreturn]] void wrongOption(const std::string& word) const {
    const std::string name = word.substr(0, word.find('='));
    std::vector<std::string> known;
    const auto collect = [&known](const std::vector<OptionSpec>& options) {
      for (const OptionSpec& option : options) known.push_back(longName(option));
    };
    collect(global_);
    for (const Command* command = command_; command != nullptr; command = command->parent())
      collect(command->options());
    wrong(words::kUnknownOption, {printable(name)}, closestWord(name, known));
  }

  [[noreturn]] void wrongCommand(const std::vector<std::string>& words) const {
    const std::vector<std::string> known = namesOf(command_->commands());
    if (!words.empty())
      wrong(words::kUnknownCommand, {printable(words.front())}, closestWord(words.front(), known));
    if (command_ == &root_) wrong(words::kCommandMissing, {});
    wrong(words::kSubcommandMissing, {command_->fullName(), joined(known)});
  }

  const Command& root_;
  const Command* command_ = nullptr;
  ParsedLine parsed_;
  GlobalTexts texts_;
  bool json_ = false;
  bool ndjson_ = false;
  std::vector<OptionSpec> global_;
  std::vector<std::string> rest_;        ///< words that are neither commands nor known options
  std::vector<std::string> plainWords_;  ///< those behind "--"
  std::map<const CLI::App*, const Command*> commandOf_;
  std::map<const OptionSpec*, CLI::Option*> optionOf_;
  std::map<std::string, std::vector<std::string>> values_;
  CLI::App app_;
};

}  // namespace

std::vector<OptionSpec> globalOptionSpecs(GlobalOptions& global, GlobalTexts& texts, bool& json, bool& ndjson,
                                          bool& help, bool& version) {
  Command options("", words::kDescription);
  options.flag("--json", json, words::kJsonHelp)
      .flag("--ndjson", ndjson, words::kNdjsonHelp)
      .choice("--format", {"table", "list", "csv"}, texts.format, words::kFormatHelp)
      .choice("--lang", {"ru", "en"}, texts.language, words::kLangHelp)
      .flag("--no-color", global.noColor, words::kNoColorHelp)
      .flag("-q,--quiet", global.quiet, words::kQuietHelp)
      .flag("-v,--verbose", global.verbose, words::kVerboseHelp)
      .number("--timeout", "SECONDS", global.timeoutSeconds, words::kTimeoutHelp, 0, kLongestTimeoutSeconds)
      .text("--pipe", "NAME", global.pipe, words::kPipeHelp)
      .text("--trace", "FILE", global.trace, words::kTraceHelp)
      .flag("--yes", global.yes, words::kYesHelp)
      .flag("--dry-run", global.dryRun, words::kDryRunHelp)
      .flag("-h,--help", help, words::kHelpHelp)
      .flag("--version", version, words::kVersionHelp);
  return options.options();
}

GlobalOptions earlyOptions(const std::vector<std::string>& arguments, Language language) {
  GlobalOptions early;
  early.language = language;
  for (size_t i = 0; i < arguments.size() && arguments[i] != "--"; ++i) {
    const std::string& word = arguments[i];
    if (word == "--json") early.mode = OutputMode::kJson;
    if (word == "--ndjson") early.mode = OutputMode::kNdjson;
    std::string named;
    if (word == "--lang" && i + 1 < arguments.size()) named = arguments[i + 1];
    if (word.starts_with("--lang=")) named = word.substr(7);
    if (named == "ru") early.language = Language::kRussian;
    if (named == "en") early.language = Language::kEnglish;
  }
  return early;
}

ParsedLine parseCommandLine(const Command& root, std::vector<std::string> arguments, Language language) {
  const GlobalOptions early = earlyOptions(arguments, language);
  return Line(root, early.language).parse(std::move(arguments));
}

}  // namespace korvel::ctl

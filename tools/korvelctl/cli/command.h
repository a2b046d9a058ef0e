// A command of korvelctl: its words, its options, its examples and what it runs. Each command group has one
// function that adds its commands to the tree. Pure; not thread-safe.
//
// Options write into variables that must live as long as the tree: usually members of a struct that the
// command's `run` owns through a shared_ptr.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "korvelctl/cli/global_options.h"
#include "korvelctl/cli/text.h"

namespace korvel::ctl {

class Context;

struct OptionSpec {
  std::string names;      ///< "-n,--lines"
  std::string valueName;  ///< "N"; empty for a switch
  Text help;
  bool repeatable = false;
  std::vector<std::string> choices = {};  ///< the words that it takes; empty = any
  uint64_t least = 0, most = 0;           ///< of a number
  /// Where the value goes; exactly one is set.
  bool* flag = nullptr;
  std::string* text = nullptr;
  std::vector<std::string>* texts = nullptr;
  uint64_t* number = nullptr;
};

/// A word of the command line that is neither an option nor a command.
struct ArgumentSpec {
  std::string name;  ///< "PATH"
  Text help;
  bool required = true;
  std::vector<std::string> choices = {};
  std::string* text = nullptr;
  std::vector<std::string>* texts = nullptr;  ///< takes all remaining words
};

class Command {
 public:
  /// Returns the exit code; throws Failure.
  using Run = std::function<int(Context&)>;

  /// Without `run` it only groups its subcommands.
  Command(std::string name, const Text& summary, Run run = nullptr)
      : name_(std::move(name)), summary_(summary), run_(std::move(run)) {}

  /// Adds a subcommand, which stays where it is.
  Command& add(std::string name, const Text& summary, Run run = nullptr);

  /// The group of that name: several files may add commands to one. `summary` counts when it is made here.
  Command& group(const std::string& name, const Text& summary);

  Command& flag(std::string names, bool& target, const Text& help);
  Command& text(std::string names, std::string valueName, std::string& target, const Text& help);
  Command& texts(std::string names, std::string valueName, std::vector<std::string>& target,
                 const Text& help);
  /// A whole number within the two bounds.
  Command& number(std::string names, std::string valueName, uint64_t& target, const Text& help,
                  uint64_t least = 0, uint64_t most = UINT32_MAX);
  Command& choice(std::string names, std::vector<std::string> choices, std::string& target, const Text& help);
  Command& argument(std::string name, std::string& target, const Text& help, bool required = true);
  Command& argumentChoice(std::string name, std::vector<std::string> choices, std::string& target,
                          const Text& help);
  Command& arguments(std::string name, std::vector<std::string>& target, const Text& help,
                     bool required = true);
  /// A whole command line, as one would type it.
  Command& example(std::string line, const Text& what);
  /// A paragraph below the options.
  Command& note(const Text& paragraph);
  /// Runs after the options are filled in; throws Failure of kind kUsage.
  Command& check(std::function<void(const GlobalOptions&)> check);

  struct Example {
    std::string line;
    Text what;
  };

  const std::string& name() const { return name_; }
  /// "korvelctl threats delete"
  std::string fullName() const;
  const Text& summary() const { return summary_; }
  const Run& run() const { return run_; }
  const Command* parent() const { return parent_; }
  const std::vector<std::unique_ptr<Command>>& commands() const { return commands_; }
  const std::vector<OptionSpec>& options() const { return options_; }
  const std::vector<ArgumentSpec>& takes() const { return arguments_; }
  const std::vector<Example>& examples() const { return examples_; }
  const std::vector<Text>& notes() const { return notes_; }
  void runChecks(const GlobalOptions& global) const;

 private:
  std::string name_;
  Text summary_;
  Run run_;
  const Command* parent_ = nullptr;
  std::vector<std::unique_ptr<Command>> commands_;
  std::vector<OptionSpec> options_;
  std::vector<ArgumentSpec> arguments_;
  std::vector<Example> examples_;
  std::vector<Text> notes_;
  std::vector<std::function<void(const GlobalOptions&)>> checks_;
};

}  // namespace korvel::ctl

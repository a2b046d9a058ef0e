#include "korvelctl/cli/command.h"

namespace korvel::ctl {

Command& Command::add(std::string name, const Text& summary, Run run) {
  commands_.push_back(std::make_unique<Command>(std::move(name), summary, std::move(run)));
  commands_.back()->parent_ = this;
  return *commands_.back();
}

Command& Command::group(const std::string& name, const Text& summary) {
  for (const auto& command : commands_) {
    if (command->name() == name) return *command;
  }
  return add(name, summary);
}

Command& Command::flag(std::string names, bool& target, const Text& help) {
  OptionSpec option{std::move(names), {}, help};
  option.flag = &target;
  options_.push_back(std::move(option));
  return *this;
}

Command& Command::text(std::string names, std::string valueName, std::string& target, const Text& help) {
  OptionSpec option{std::move(names), std::move(valueName), help};
  option.text = &target;
  options_.push_back(std::move(option));
  return *this;
}

Command& Command::texts(std::string names, std::string valueName, std::vector<std::string>& target,
                        const Text& help) {
  OptionSpec option{std::move(names), std::move(valueName), help};
  option.repeatable = true;
  option.texts = &target;
  options_.push_back(std::move(option));
  return *this;
}

Command& Command::number(std::string names, std::string valueName, uint64_t& target, const Text& help,
                         uint64_t least, uint64_t most) {
  OptionSpec option{std::move(names), std::move(valueName), help};
  option.least = least;
  option.most = most;
  option.number = &target;
  options_.push_back(std::move(option));
  return *this;
}

Command& Command::choice(std::string names, std::vector<std::string> choices, std::string& target,
                         const Text& help) {
  std::string valueName;
  for (const std::string& word : choices) valueName += (valueName.empty() ? "" : "|") + word;
  OptionSpec option{std::move(names), std::move(valueName), help};
  option.choices = std::move(choices);
  option.text = &target;
  options_.push_back(std::move(option));
  return *this;
}

Command& Command::argument(std::string name, std::string& target, const Text& help, bool required) {
  ArgumentSpec argument{std::move(name), help, required, {}, &target, nullptr};
  arguments_.push_back(std::move(argument));
  return *this;
}

Command& Command::argumentChoice(std::string name, std::vector<std::string> choices, std::string& target,
                                 const Text& help) {
  ArgumentSpec argument{std::move(name), help, true, std::move(choices), &target, nullptr};
  arguments_.push_back(std::move(argument));
  return *this;
}

Command& Command::arguments(std::string name, std::vector<std::string>& target, const Text& help,
                            bool required) {
  ArgumentSpec argument{std::move(name), help, required, {}, nullptr, &target};
  arguments_.push_back(std::move(argument));
  return *this;
}

Command& Command::example(std::string line, const Text& what) {
  examples_.push_back({std::move(line), what});
  return *this;
}

Command& Command::note(const Text& paragraph) {
  notes_.push_back(paragraph);
  return *this;
}

Command& Command::check(std::function<void(const GlobalOptions&)> check) {
  checks_.push_back(std::move(check));
  return *this;
}

std::string Command::fullName() const {
  return parent_ == nullptr ? name_ : parent_->fullName() + " " + name_;
}

void Command::runChecks(const GlobalOptions& global) const {
  for (const auto& check : checks_) check(global);
}

}  // namespace korvel::ctl

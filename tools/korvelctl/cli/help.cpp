#include "korvelctl/cli/help.h"

#include <algorithm>

#include "korvelctl/cli/command_line.h"
#include "korvelctl/cli/words/common_words.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

constexpr size_t kWidestName = 28;

struct Row {
  std::string name;
  std::string text;
};

/// Two columns; a name that is too wide for its column has a line of its own.
std::string rows(const std::vector<Row>& list, size_t columns) {
  size_t width = 0;
  for (const Row& row : list) {
    const size_t own = columnsOf(row.name);
    if (own <= kWidestName) width = std::max(width, own);
  }
  std::string text;
  for (const Row& row : list) {
    const size_t own = columnsOf(row.name);
    std::string first = "  " + row.name;
    if (own > width) {
      text += first + "\n";
      first = std::string(width + 4, ' ');
    } else {
      first += std::string(width - own + 2, ' ');
    }
    text += wrapped(row.text, columns, first);
  }
  return text;
}

std::string nameOf(const OptionSpec& option) {
  std::string name = option.names;
  const size_t comma = name.find(',');
  if (comma != name.npos) name.insert(comma + 1, " ");
  return option.valueName.empty() ? name : name + " " + option.valueName;
}

std::vector<Row> optionRows(const std::vector<OptionSpec>& options, Language language) {
  std::vector<Row> list;
  for (const OptionSpec& option : options) {
    std::string help = option.help.in(language);
    if (option.repeatable) help += std::string("; ") + words::kRepeatable.in(language);
    list.push_back({nameOf(option), help});
  }
  return list;
}

std::string nameOf(const ArgumentSpec& argument) {
  std::string name = argument.name;
  if (!argument.choices.empty()) {
    name.clear();
    for (const std::string& choice : argument.choices) name += (name.empty() ? "" : "|") + choice;
  }
  if (argument.texts != nullptr) name += "...";
  return argument.required ? name : "[" + name + "]";
}

std::string usageOf(const Command& command, Language language, size_t columns) {
  std::string line = command.fullName();
  if (!command.commands().empty()) line += command.run() ? " [COMMAND]" : " COMMAND";
  for (const ArgumentSpec& argument : command.takes()) line += " " + nameOf(argument);
  line += " [OPTION...]";
  return wrapped(line, columns, std::string(words::kUsage.in(language)) + " ");
}

std::string section(const Text& title, Language language, const std::vector<Row>& list, size_t columns) {
  if (list.empty()) return {};
  return "\n" + std::string(title.in(language)) + "\n" + rows(list, columns);
}

std::vector<OptionSpec> globalOptions() {
  static GlobalOptions global;
  static GlobalTexts texts;
  static bool unused = false;
  return globalOptionSpecs(global, texts, unused, unused, unused, unused);
}

std::string examplesOf(const Command& command, Language language, size_t columns) {
  if (command.examples().empty()) return {};
  std::string text = "\n" + std::string(words::kExamples.in(language)) + "\n";
  for (const Command::Example& example : command.examples())
    text += "  " + example.line + "\n" + wrapped(example.what.in(language), columns, "      ");
  return text;
}

}  // namespace

std::string helpText(const Command& command, Language language, size_t columns) {
  const bool root = command.parent() == nullptr;
  std::string text = wrapped(command.summary().in(language), columns) + "\n";
  text += usageOf(command, language, columns);

  std::vector<Row> arguments, commands;
  for (const ArgumentSpec& argument : command.takes())
    arguments.push_back({argument.name, argument.help.in(language)});
  for (const auto& child : command.commands())
    commands.push_back({child->name(), child->summary().in(language)});
  text += section(words::kArguments, language, arguments, columns);
  text += section(words::kCommands, language, commands, columns);
  text += section(words::kOptions, language, optionRows(command.options(), language), columns);
  if (root) text += section(words::kGlobalOptions, language, optionRows(globalOptions(), language), columns);
  text += examplesOf(command, language, columns);
  for (const Text& note : command.notes()) text += "\n" + wrapped(note.in(language), columns);
  text += "\n" + wrapped(root ? words::kMoreHelp.in(language) : words::kGlobalHint.in(language), columns);
  return text;
}

}  // namespace korvel::ctl

#include "korvelctl/render/completion.h"

#include <string_view>

#include "korvelctl/cli/command_line.h"

namespace korvel::ctl {
namespace {

/// A text in single quotes; one inside is doubled. PowerShell takes the typographic ones for quotes too.
std::string singleQuoted(std::string_view text) {
  std::string result = "'";
  for (size_t i = 0; i < text.size(); ++i) {
    const std::string_view three = text.substr(i, 3);
    const bool typographic = three == "\u2018" || three == "\u2019" || three == "\u201A" || three == "\u201B";
    if (typographic) {
      result.append(three).append(three);
      i += 2;
    } else {
      result.append(text[i] == '\'' ? 2 : 1, text[i]);
    }
  }
  return result + "'";
}

/// The comma keeps the pair together: a list of pairs would else become one list of texts.
void addWord(std::string& words, std::string_view word, std::string_view help) {
  words += "    ,@(" + singleQuoted(word) + ", " + singleQuoted(help.empty() ? word : help) + ")\n";
}

void addOption(std::string& words, const OptionSpec& option, Language language) {
  std::string_view names = option.names;
  while (!names.empty()) {
    const size_t comma = names.find(',');
    addWord(words, names.substr(0, comma), option.help.in(language));
    names = comma == names.npos ? std::string_view() : names.substr(comma + 1);
  }
}

/// "threats delete", the key of a command in the script's tables; empty for the program itself.
std::string keyOf(const Command& command) {
  const std::string name = command.fullName();
  const size_t blank = name.find(' ');
  return blank == name.npos ? std::string() : name.substr(blank + 1);
}

void addTables(std::string& script, const Command& command, Language language) {
  std::string words;
  for (const auto& child : command.commands()) addWord(words, child->name(), child->summary().in(language));
  for (const ArgumentSpec& argument : command.takes()) {
    for (const std::string& choice : argument.choices) addWord(words, choice, argument.help.in(language));
  }
  for (const OptionSpec& option : command.options()) addOption(words, option, language);
  if (!words.empty()) script += "  $words[" + singleQuoted(keyOf(command)) + "] = @(\n" + words + "  )\n";
  for (const auto& child : command.commands()) addTables(script, *child, language);
}

void addChoices(std::string& script, const std::vector<OptionSpec>& options, const std::string& key) {
  for (const OptionSpec& option : options) {
    if (option.choices.empty()) continue;
    std::string list;
    for (const std::string& choice : option.choices)
      list += (list.empty() ? "" : ", ") + singleQuoted(choice);
    std::string_view names = option.names;
    while (!names.empty()) {
      const size_t comma = names.find(',');
      script.append("  $choices[").append(singleQuoted(key + ' ' + std::string(names.substr(0, comma))));
      script.append("] = @(").append(list).append(")\n");
      names = comma == names.npos ? std::string_view() : names.substr(comma + 1);
    }
  }
}

void addAllChoices(std::string& script, const Command& command) {
  addChoices(script, command.options(), keyOf(command));
  for (const auto& child : command.commands()) addAllChoices(script, *child);
}

constexpr const char* kHead = R"(# Completion of korvelctl for PowerShell 5.1 and later. In the profile:
#   korvelctl completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName 'korvelctl', 'korvelctl.exe' -ScriptBlock {
  param($word, $line, $cursor)
  $words = @{}
  $choices = @{}
)";

constexpr const char* kTail = R"(  $key = ''
  $before = ''
  foreach ($element in $line.CommandElements | Select-Object -Skip 1) {
    if ($element.Extent.EndOffset -ge $cursor -and $word -ne '') { break }
    $text = $element.ToString()
    $before = $text
    $next = ($key + ' ' + $text).Trim()
    if ($words.ContainsKey($next)) { $key = $next }
  }
  $found = $choices[($key + ' ' + $before)]
  if (-not $found) { $found = $choices[(' ' + $before)] }
  if ($found) {
    $found | Where-Object { $_ -like ($word + '*') } | ForEach-Object {
      [System.Management.Automation.CompletionResult]::new($_, $_, 'ParameterValue', $_)
    }
    return
  }
  $offered = @($words[$key])
  if ($word.StartsWith('-')) { $offered += $global }
  $offered | Where-Object { $_ -and $_[0] -like ($word + '*') } | ForEach-Object {
    $kind = if ($_[0].StartsWith('-')) { 'ParameterName' } else { 'ParameterValue' }
    [System.Management.Automation.CompletionResult]::new($_[0], $_[0], $kind, $_[1])
  }
}
)";

}  // namespace

std::string powershellCompletion(const Command& root, Language language) {
  GlobalOptions global;
  GlobalTexts texts;
  bool json = false, ndjson = false, help = false, version = false;
  const std::vector<OptionSpec> options = globalOptionSpecs(global, texts, json, ndjson, help, version);
  std::string script = kHead;
  addTables(script, root, language);
  std::string words;
  for (const OptionSpec& option : options) addOption(words, option, language);
  script += "  $global = @(\n" + words + "  )\n";
  addChoices(script, options, "");
  addAllChoices(script, root);
  return script + kTail;
}

}  // namespace korvel::ctl

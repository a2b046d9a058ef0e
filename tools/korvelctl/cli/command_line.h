// Reads a command line over the tree of commands. Pure and thread-safe apart from the variables that the
// tree's options name.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "korvelctl/cli/command.h"
#include "korvelctl/cli/global_options.h"

namespace korvel::ctl {

/// What is known of the language and the form of output before the line is read: errors need both.
GlobalOptions earlyOptions(const std::vector<std::string>& arguments, Language language);

struct ParsedLine {
  const Command* command = nullptr;
  GlobalOptions global;
  bool help = false;     ///< about `command`, which is then not to be run
  bool version = false;  ///< nothing else is to be done
};

/// `arguments` are those after the program's name, UTF-8. `language` is used unless the line names one. Fills
/// in the options of the command that it finds. Throws Failure of kind kUsage with a text in the language of
/// the line.
ParsedLine parseCommandLine(const Command& root, std::vector<std::string> arguments, Language language);

/// The options that every command takes, as help lists them. Their targets are in `global`; the four texts
/// are read afterwards.
struct GlobalTexts {
  std::string format;
  std::string language;
};
std::vector<OptionSpec> globalOptionSpecs(GlobalOptions& global, GlobalTexts& texts, bool& json, bool& ndjson,
                                          bool& help, bool& version);

}  // namespace korvel::ctl

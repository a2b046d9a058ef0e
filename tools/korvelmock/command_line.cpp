#include "korvelmock/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

#include "base/version.h"

namespace korvel::mock {
namespace {

constexpr const char* kDescription =
    "Plays the KORVEL protection service for tests of a client: it speaks the protocol and touches nothing.";
constexpr const char* kFooter =
    "Examples:\n"
    "  korvelmock --scenes\n"
    "  korvelmock --scene found\n"
    "  korvelmock --scene slow --pipe KorvelTest        (then: korvelctl --pipe KorvelTest status)\n"
    "  korvelmock --script mine.json --stdio\n\n"
    "It ends when a client stops the service, after the connections that --connections names, and with "
    "--stdio\n"
    "at the end of the input. docs/protocol.md describes scripts and scenes.\n\n"
    "Exit codes: 0 done; 2 the script cannot be read; 3 the pipe cannot be made; 64 wrong usage.";

}  // namespace

std::variant<Options, Notice> parseCommandLine(std::vector<std::string> arguments) {
  Options options;
  CLI::App app(kDescription, "korvelmock");
  app.footer(kFooter);
  app.set_version_flag("--version", std::string("korvelmock ") + kServiceVersion);
  CLI::Option_group* const what = app.add_option_group("Script", "What it answers (one of these)");
  what->add_option("--script", options.script, "A script: a JSON file")->type_name("FILE");
  what->add_option("--scene", options.scene, "A built-in script")->type_name("NAME");
  what->add_flag("--scenes", options.scenes, "List the built-in scripts");
  what->require_option(1);
  app.add_option("--pipe", options.pipe, "The pipe, instead of the service's own")->type_name("NAME");
  app.add_flag("--stdio,--stream", options.standardStreams,
               "Speak over standard input and output instead of a pipe");
  app.add_option("--connections", options.connections, "End after so many connections")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  app.add_flag("--quiet", options.quiet, "Do not tell of each exchange on standard error");
  app.add_flag("--check", options.check, "Only check the script");
  app.add_flag("--print", options.print, "Only print the script")->excludes("--check");

  std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them from the back
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& problem) {
    std::ostringstream text;
    const int code = app.exit(problem, text, text);
    return Notice{code == 0 ? kExitDone : kExitUsage, text.str()};
  }
  return options;
}

}  // namespace korvel::mock

// korvelctl: the command-line client of the protection service.
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "base/utf.h"
#include "base/version.h"
#include "korvelctl/cli/command_line.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/help.h"
#include "korvelctl/cli/words/common_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/console.h"
#include "korvelctl/machine/local_time.h"
#include "korvelctl/machine/pipe_service.h"

namespace korvel::ctl {
namespace {

constexpr size_t kDefaultColumns = 80;

std::string variable(const wchar_t* name) {
  const wchar_t* value = _wgetenv(name);
  return value == nullptr ? std::string() : toUtf8(value);
}

/// KORVEL_LANG, else the language in which Windows speaks to this user.
Language ownLanguage() {
  const std::string named = variable(L"KORVEL_LANG");
  if (named == "ru") return Language::kRussian;
  if (named == "en") return Language::kEnglish;
  constexpr LANGID kPrimaryMask = 0x3FF;
  return (::GetUserDefaultUILanguage() & kPrimaryMask) == LANG_RUSSIAN ? Language::kRussian
                                                                       : Language::kEnglish;
}

size_t helpColumns(const Output& out) { return out.columns() == 0 ? kDefaultColumns : out.columns(); }

Failure internalError(const std::exception& problem, Language language) {
  return Failure(ErrorKind::kInternal,
                 filled(words::kInternalError, language, {std::string_view(problem.what())}));
}

int runCommand(const ParsedLine& line, Surroundings& around, StandardOutput& err) {
  PipeService service(line.global, err);
  around.service = &service;
  Context context(line.global, around);
  try {
    return line.command->run()(context);
  } catch (const Failure& failure) {
    return context.fail(failure);
  } catch (const std::exception& problem) {
    return context.fail(internalError(problem, line.global.language));
  }
}

int run(const std::vector<std::string>& arguments) {
  StandardOutput out(STD_OUTPUT_HANDLE);
  StandardOutput err(STD_ERROR_HANDLE);
  const Language language = ownLanguage();
  Surroundings around;
  around.out = &out;
  around.err = &err;
  around.commandLine = toUtf8(::GetCommandLineW());
  around.colors = variable(L"NO_COLOR").empty() && out.enableColors();
  around.ask = [&err](const std::string& question) { return askOnConsole(err, question); };
  around.canAsk = canAskOnConsole(err);
  around.localTime = localTime;

  Command root("korvelctl", words::kDescription);
  root.note(words::kRootNote).note(words::kLanguageNote);
  addCommands(root);
  std::vector<std::string> helpAbout;
  const Command& help = root.add("help", words::kHelpHelp, [](Context&) { return kExitDone; })
                            .arguments("COMMAND", helpAbout, words::kHelpArgument, /*required=*/false)
                            .example("korvelctl help scan", words::kHelpExample);
  try {
    ParsedLine line = parseCommandLine(root, arguments, language);
    if (line.command == &help && !line.help) {
      // `help COMMAND...` is `COMMAND... --help`.
      const Language chosen = line.global.language;
      helpAbout.push_back("--help");
      line = parseCommandLine(root, std::vector<std::string>(helpAbout), chosen);
    }
    if (line.version) {
      out.write(std::string("korvelctl ") + kServiceVersion + "\n");
      return kExitDone;
    }
    if (line.help) {
      out.write(helpText(*line.command, line.global.language, helpColumns(out)));
      return kExitDone;
    }
    return runCommand(line, around, err);
  } catch (const Failure& failure) {
    return Context(earlyOptions(arguments, language), around).fail(failure);
  } catch (const std::exception& problem) {
    const GlobalOptions options = earlyOptions(arguments, language);
    return Context(options, around).fail(internalError(problem, options.language));
  }
}

}  // namespace
}  // namespace korvel::ctl

int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(korvel::toUtf8(argv[i]));
  return korvel::ctl::run(arguments);
}

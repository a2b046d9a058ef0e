// korvelctl: the command-line client of the protection service.
#include <exception>
#include <string>
#include <variant>
#include <vector>

#include "base/utf.h"
#include "korvelctl/command_line.h"
#include "korvelctl/commands.h"
#include "korvelctl/connection.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/output.h"
#include "korvelctl/printable.h"

namespace korvel::ctl {
namespace {

int run(const std::vector<std::string>& arguments) {
  const Output out(STD_OUTPUT_HANDLE);
  const Output err(STD_ERROR_HANDLE);
  const std::variant<Command, Notice> parsed = parseCommandLine(arguments);
  if (const auto* notice = std::get_if<Notice>(&parsed)) {
    (notice->exitCode == kExitNothingFound ? out : err).write(notice->text);
    return notice->exitCode;
  }
  try {
    return runCommand(std::get<Command>(parsed), out, err);
  } catch (const Failure& failure) {
    err.write("korvelctl: " + printable(std::string_view(failure.what())) + "\n");
    return failure.exitCode();
  } catch (const std::exception& problem) {
    err.write("korvelctl: " + printable(std::string_view(problem.what())) + "\n");
    return kExitRefused;
  }
}

}  // namespace
}  // namespace korvel::ctl

int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(korvel::toUtf8(argv[i]));
  return korvel::ctl::run(arguments);
}

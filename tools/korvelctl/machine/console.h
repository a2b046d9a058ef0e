// The standard output, the error output and the keyboard: UTF-8 where redirected, UTF-16 on a console. Not
// thread-safe.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/win.h"
#include "korvelctl/cli/context.h"

namespace korvel::ctl {

class StandardOutput : public Output {
 public:
  /// STD_OUTPUT_HANDLE or STD_ERROR_HANDLE. If the process has no such handle, output is discarded.
  explicit StandardOutput(DWORD standardHandle);

  /// Output to a pipe that nobody reads any more is discarded.
  void write(std::string_view text) override;
  bool isTerminal() const override { return isConsole_; }
  size_t columns() const override;
  /// Lets the console understand colours; false where it cannot.
  bool enableColors();

 private:
  HANDLE handle_;
  bool isConsole_;
};

/// Whether there is a console on both the input and the error output.
bool canAskOnConsole(const Output& err);

/// Writes `question` to `err` and reads a line. Nothing when nobody can be asked, and at the end of the
/// input.
std::optional<std::string> askOnConsole(Output& err, const std::string& question);

/// All of the standard input. Nothing when it cannot be read or is beyond 64 MiB.
std::optional<std::string> readStandardInput();

}  // namespace korvel::ctl

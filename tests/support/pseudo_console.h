// A console without a window, for one program. Windows only.
#pragma once

#include <string>

#include "base/win.h"

namespace korvel::test {

struct ConsoleRun {
  DWORD exitCode = 0;
  std::string screen;  ///< what a terminal would show: UTF-8, without control sequences
};

/// Runs `program` to its end in a console of its own. Throws when that takes longer than `limitMs`.
ConsoleRun runInConsole(const std::wstring& program, const std::wstring& arguments, DWORD limitMs = 60'000);

}  // namespace korvel::test

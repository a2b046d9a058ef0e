#include "e2e/own_console.h"

#include <stdexcept>

#include "base/win.h"

namespace korvel::test {
namespace {

/// A handler and not the switch that ignores Ctrl+C: children inherit that one.
BOOL WINAPI ignoreCtrlC(DWORD event) { return event == CTRL_C_EVENT; }

bool takeConsole() {
  ::FreeConsole();
  return ::AllocConsole() && ::SetConsoleCtrlHandler(ignoreCtrlC, TRUE);
}

}  // namespace

void useOwnConsole() {
  static const bool taken = takeConsole();
  if (!taken) throw std::runtime_error("no console for this process");
}

void pressCtrlC() {
  if (!::GenerateConsoleCtrlEvent(CTRL_C_EVENT, /*processGroup=*/0)) {
    throw std::runtime_error("Ctrl+C cannot be pressed");
  }
}

}  // namespace korvel::test

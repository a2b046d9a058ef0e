#include "e2e/own_console.h"

#include <stdexcept>

namespace korvel::test {
namespace {

/// A handler instead of the switch that ignores Ctrl+C, because children inherit the switch.
BOOL WINAPI ignoreCtrlC(DWORD event) { return event == CTRL_C_EVENT; }

bool taken = false;

bool takeConsole() {
  ::FreeConsole();
  return ::AllocConsole() && ::SetConsoleCtrlHandler(ignoreCtrlC, TRUE);
}

}  // namespace

void useOwnConsole() {
  if (!taken) taken = takeConsole();
  if (!taken) throw std::runtime_error("no console for this process");
}

void pressCtrlC() {
  if (!::GenerateConsoleCtrlEvent(CTRL_C_EVENT, /*processGroup=*/0)) {
    throw std::runtime_error("Ctrl+C cannot be pressed");
  }
}

void leaveConsole() {
  ::FreeConsole();
  taken = false;
}

bool hasConsole(DWORD process) {
  const bool attached = ::AttachConsole(process) != FALSE;
  ::FreeConsole();
  return attached;
}

}  // namespace korvel::test

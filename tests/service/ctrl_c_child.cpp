// Presses Ctrl+C in a console of its own, with Ctrl+C switched off before console mode takes over. Ends with
// 0 when that requests the stop. The switch and the handlers belong to a whole process, so
// console_control_test.cpp starts this one.
#include "base/win.h"
#include "runtime/stop_signal.h"
#include "service/console_control.h"
#include "support/eventually.h"

int main() {
  ::FreeConsole();
  if (!::AllocConsole() || !::SetConsoleCtrlHandler(/*handler=*/nullptr, TRUE)) return 2;
  korvel::svc::installConsoleControl();
  if (!::GenerateConsoleCtrlEvent(CTRL_C_EVENT, /*processGroup=*/0)) return 3;
  return korvel::test::eventually(20'000, [] { return korvel::StopSignal::process().requested(); }) ? 0 : 1;
}

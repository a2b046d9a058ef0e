#include "korvelctl/machine/interrupt.h"

#include "base/win.h"

namespace korvel::ctl {
namespace {

HANDLE interruptEvent() {
  // Lives as long as the process: the system's own thread may signal it at any time.
  static const HANDLE event = ::CreateEventW(/*security=*/nullptr, /*manual=*/TRUE, FALSE, /*name=*/nullptr);
  return event;
}

BOOL WINAPI onControl(DWORD type) {
  if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT) return FALSE;
  if (interrupted()) return FALSE;  // the system then ends the process
  ::SetEvent(interruptEvent());
  return TRUE;
}

}  // namespace

void catchInterrupt() {
  (void)interruptEvent();
  ::SetConsoleCtrlHandler(onControl, TRUE);
}

bool interrupted() { return sleepUnlessInterrupted(0); }

bool sleepUnlessInterrupted(unsigned milliseconds) {
  return ::WaitForSingleObject(interruptEvent(), milliseconds) == WAIT_OBJECT_0;
}

}  // namespace korvel::ctl

#include "service/console_control.h"

#include "base/unique_resource.h"

namespace korvel::svc {
namespace {

// Set once, before the handler is registered; never closed, because the handler stays until the process ends.
HANDLE mainThread = nullptr;

/// Runs on a thread that the system creates for each console event.
BOOL WINAPI consoleCtrlHandler(DWORD controlType) {
  return handleConsoleControl(controlType, StopSignal::process(), mainThread);
}

UniqueHandle currentThreadHandle() {
  UniqueHandle thread;
  ::DuplicateHandle(::GetCurrentProcess(), ::GetCurrentThread(), ::GetCurrentProcess(), thread.receive(),
                    /*access=*/0, /*inherit=*/FALSE, DUPLICATE_SAME_ACCESS);
  return thread;
}

}  // namespace

BOOL handleConsoleControl(DWORD controlType, StopSignal& stop, HANDLE thread) {
  switch (controlType) {
    case CTRL_C_EVENT:
    case CTRL_BREAK_EVENT:
      stop.requestStop();
      return TRUE;
    case CTRL_CLOSE_EVENT:
      stop.requestStop();
      ::WaitForSingleObject(thread, INFINITE);  // returning ends the process
      return TRUE;
    default:
      return FALSE;
  }
}

void installConsoleControl() {
  mainThread = currentThreadHandle().release();
  ::SetConsoleCtrlHandler(consoleCtrlHandler, TRUE);
  // A program inherits the switch that ignores Ctrl+C, and begins with it in a process group of its own. The
  // start line promises Ctrl+C.
  ::SetConsoleCtrlHandler(/*handler=*/nullptr, FALSE);
}

}  // namespace korvel::svc

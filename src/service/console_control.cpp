#include "service/console_control.h"

#include "base/unique_resource.h"

namespace korvel::svc {
namespace {

// Set once, before the handler is registered; lives as long as the handler, that is to the end.
HANDLE mainThread = nullptr;

/// Runs on a thread that the system makes for each console event.
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
      ::WaitForSingleObject(thread, INFINITE);  // let the clean stop come first
      return TRUE;
    default:
      return FALSE;
  }
}

void installConsoleControl() {
  mainThread = currentThreadHandle().release();
  ::SetConsoleCtrlHandler(consoleCtrlHandler, TRUE);
}

}  // namespace korvel::svc

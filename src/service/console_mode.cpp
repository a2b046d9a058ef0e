#include "service/console_mode.h"

#include <string>

#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"
#include "ipc/pipe_server.h"
#include "service/engine_host.h"
#include "service/runtime/console_line.h"
#include "service/runtime/log.h"
#include "service/runtime/stop_signal.h"

namespace korvel::svc {
namespace {

// The main thread, for the close handler to wait on. Set once before the handler is registered.
HANDLE mainThread = nullptr;

/// Runs on a thread that the system makes for each console event.
BOOL WINAPI consoleCtrlHandler(DWORD controlType) {
  switch (controlType) {
    case CTRL_C_EVENT:
    case CTRL_BREAK_EVENT:
      StopSignal::process().requestStop();
      return TRUE;
    case CTRL_CLOSE_EVENT:
      StopSignal::process().requestStop();
      // The process ends as soon as this handler returns; let the clean stop come first.
      ::WaitForSingleObject(mainThread, INFINITE);
      return TRUE;
    default:
      return FALSE;
  }
}

UniqueHandle currentThreadHandle() {
  UniqueHandle thread;
  ::DuplicateHandle(::GetCurrentProcess(), ::GetCurrentThread(), ::GetCurrentProcess(), thread.receive(),
                    /*access=*/0, /*inherit=*/FALSE, DUPLICATE_SAME_ACCESS);
  return thread;
}

}  // namespace

int runConsoleMode() {
  mainThread = currentThreadHandle().release();  // lives as long as the handler, that is to the end
  ::SetConsoleCtrlHandler(consoleCtrlHandler, TRUE);
  std::string error;
  if (!engineStart(&error)) {
    Log::instance().write(kLogError, "startup failed: " + error);
    writeConsoleLine(L"запуск не удался: " + toWide(error));
    return 1;
  }
  Log::instance().write(kLogInfo, "running in console mode (Ctrl+C to stop)");
  writeConsoleLine(L"служба запущена в консольном режиме. Ctrl+C для остановки.");
  ipc::runPipeServer();
  engineStop();
  Log::instance().write(kLogInfo, "stopped");
  return 0;
}

}  // namespace korvel::svc

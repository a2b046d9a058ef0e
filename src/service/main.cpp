// The entry point: chooses the run mode, opens the log and installs the crash filter before anything runs.
#include "base/unique_resource.h"
#include "base/win.h"
#include "client/diagnostic_clients.h"
#include "config/data_paths.h"
#include "runtime/log.h"
#include "service/console_mode.h"
#include "service/crash_filter.h"
#include "service/process_hardening.h"
#include "service/run_mode.h"
#include "service/service_main.h"

namespace {

/// Whether what is written to the output gets to a file, a pipe or a console.
bool goesSomewhere(HANDLE output) {
  const DWORD type = ::GetFileType(output);
  DWORD mode = 0;
  return type == FILE_TYPE_DISK || type == FILE_TYPE_PIPE || ::GetConsoleMode(output, &mode);
}

/// Finds a console for a mode that prints, because the executable has none by default. A redirected output
/// stays as it is. Otherwise the console that the program was started from is the right one; a new one is
/// only made where there is none.
void attachConsole() {
  const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  if (goesSomewhere(output) || ::AttachConsole(ATTACH_PARENT_PROCESS)) return;
  if (!korvel::KernelHandleTraits::valid(output) && ::GetConsoleWindow() == nullptr) ::AllocConsole();
}

int run(korvel::RunMode mode) {
  switch (mode) {
    case korvel::RunMode::kPingClient:
      return korvel::ipc::runPingClient();
    case korvel::RunMode::kUpdateCheckClient:
      return korvel::ipc::runUpdateCheckClient();
    case korvel::RunMode::kFirewallClient:
      return korvel::ipc::runFirewallClient();
    case korvel::RunMode::kConsole:
      return korvel::svc::runConsoleMode();
    case korvel::RunMode::kService:
      break;
  }
  return korvel::svc::runServiceMode();
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR commandLine, int) {
  // First of all: a drive without a medium makes a call fail, and nobody has to close a box first.
  (void)::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  korvel::svc::hardenProcess();
  const korvel::CommandLine parsed = korvel::parseCommandLine(commandLine != nullptr ? commandLine : L"");
  if (parsed.wantsConsole) attachConsole();
  korvel::Log::instance().open(korvel::logPath());
  korvel::installCrashFilter(korvel::logPath());
  return run(parsed.mode);
}

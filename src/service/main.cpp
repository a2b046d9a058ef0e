// The entry point: chooses the run mode, opens the log and installs the crash filter before anything runs.
#include "base/win.h"
#include "client/diagnostic_clients.h"
#include "config/data_paths.h"
#include "runtime/log.h"
#include "service/console_finder.h"
#include "service/console_mode.h"
#include "service/crash_filter.h"
#include "service/process_hardening.h"
#include "service/run_mode.h"
#include "service/service_main.h"

namespace {

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
  if (parsed.wantsConsole) korvel::svc::findConsole();
  korvel::Log::instance().open(korvel::logPath());
  korvel::installCrashFilter(korvel::logPath());
  return run(parsed.mode);
}

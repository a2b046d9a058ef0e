// The entry point: chooses the run mode, opens the log and installs the crash filter before anything runs.
#include "base/unique_resource.h"
#include "base/win.h"
#include "client/diagnostic_clients.h"
#include "config/data_paths.h"
#include "runtime/log.h"
#include "service/console_mode.h"
#include "service/crash_filter.h"
#include "service/run_mode.h"
#include "service/service_main.h"

namespace {

/// The executable has no console by default; this creates one for a mode that prints, unless the standard
/// output is redirected or a console exists already.
void attachConsole() {
  if (korvel::KernelHandleTraits::valid(::GetStdHandle(STD_OUTPUT_HANDLE))) return;
  if (::GetConsoleWindow() == nullptr) ::AllocConsole();
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
  const korvel::CommandLine parsed = korvel::parseCommandLine(commandLine != nullptr ? commandLine : L"");
  if (parsed.wantsConsole) attachConsole();
  korvel::Log::instance().open(korvel::logPath());
  korvel::installCrashFilter(korvel::logPath());
  return run(parsed.mode);
}

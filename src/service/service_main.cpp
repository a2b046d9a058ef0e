#include "service/service_main.h"

#include <string>

#include "base/version.h"
#include "runtime/log.h"
#include "runtime/stop_signal.h"
#include "service/service_host.h"

namespace korvel::svc {
namespace {

constexpr const char* kUsage =
    "launch it through the Service Control Manager:\n"
    "  sc create KorvelService binPath= \"<path>\\KorvelService.exe\" start= auto\n"
    "  sc start KorvelService\n"
    "or run it without SCM rights:\n"
    "  KorvelService.exe --console\n"
    "diagnostics against a running service:\n"
    "  KorvelService.exe --ping\n"
    "  KorvelService.exe --update-check\n"
    "  KorvelService.exe --fw";

ServiceHost& serviceHost() {
  static ServiceHost host(ServiceSystem::windows(), StopSignal::process());
  return host;
}

DWORD WINAPI controlHandler(DWORD control, DWORD, LPVOID, LPVOID) { return serviceHost().control(control); }

}  // namespace

void WINAPI ServiceMain(DWORD, LPWSTR*) { serviceHost().run(controlHandler); }

int runServiceMode(const ServiceSystem& system) {
  std::wstring name = kServiceName;
  const SERVICE_TABLE_ENTRYW table[] = {{name.data(), ServiceMain}, {nullptr, nullptr}};
  if (system.startDispatcher(table)) return 0;
  Log& log = Log::instance();
  log.write(kLogError, "StartServiceCtrlDispatcher failed, win32=" + std::to_string(::GetLastError()));
  log.write(kLogInfo, kUsage);
  return static_cast<int>(::GetLastError());  // read after the two log lines
}

}  // namespace korvel::svc

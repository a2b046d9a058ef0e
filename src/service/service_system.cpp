#include "service/service_system.h"

#include "service/engine_host.h"

namespace korvel::svc {
namespace {

SERVICE_STATUS_HANDLE registerHandler(const wchar_t* serviceName, LPHANDLER_FUNCTION_EX handler) {
  return ::RegisterServiceCtrlHandlerExW(serviceName, handler, /*context=*/nullptr);
}

BOOL setStatus(SERVICE_STATUS_HANDLE handle, SERVICE_STATUS* status) {
  return ::SetServiceStatus(handle, status);
}

BOOL startDispatcher(const SERVICE_TABLE_ENTRYW* table) { return ::StartServiceCtrlDispatcherW(table); }

constexpr ServiceSystem kWindowsCalls{.registerHandler = registerHandler,
                                      .setStatus = setStatus,
                                      .startDispatcher = startDispatcher,
                                      .engineStart = engineStart,
                                      .engineStop = engineStop,
                                      .servePipe = servePipe};

}  // namespace

const ServiceSystem& ServiceSystem::windows() { return kWindowsCalls; }

}  // namespace korvel::svc

#include "service/service_host.h"

#include <string>

#include "base/version.h"
#include "runtime/log.h"

namespace korvel::svc {

void ServiceHost::run(LPHANDLER_FUNCTION_EX handler) {
  status_.reset();
  const SERVICE_STATUS_HANDLE handle = system_.registerHandler(kServiceName, handler);
  if (handle == nullptr) return;
  status_.attach(handle);

  status_.reportPending(SERVICE_START_PENDING);
  serviceLog("initialising");
  std::string error;
  if (!system_.engineStart(&error)) {
    Log::instance().write(kLogError, "startup failed: " + error);
    status_.reportSettled(SERVICE_STOPPED, ERROR_SERVICE_SPECIFIC_ERROR);  // with service-specific code 0
    return;
  }
  status_.reportSettled(SERVICE_RUNNING, NO_ERROR);
  serviceLog("running");
  system_.servePipe();
  status_.reportPending(SERVICE_STOP_PENDING);
  system_.engineStop();
  status_.reportSettled(SERVICE_STOPPED, NO_ERROR);
}

DWORD ServiceHost::control(DWORD control) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
    case SERVICE_CONTROL_SHUTDOWN:
      serviceLog("stop requested");
      status_.reportPending(SERVICE_STOP_PENDING);
      stop_.requestStop();
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      status_.answerInterrogate();
      return NO_ERROR;
    default:
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

}  // namespace korvel::svc

#include "korvelctl/machine/service_state.h"

#include "base/version.h"
#include "base/win.h"
#include "korvelctl/machine/service_manager.h"

namespace korvel::ctl {
ServiceState serviceState() {
  const UniqueScmHandle manager(
      ::OpenSCManagerW(/*machine=*/nullptr, /*database=*/nullptr, SC_MANAGER_CONNECT));
  if (!manager) return ServiceState::kUnknown;
  const UniqueScmHandle service(::OpenServiceW(manager.get(), kServiceName, SERVICE_QUERY_STATUS));
  if (!service) {
    return ::GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? ServiceState::kNotInstalled
                                                            : ServiceState::kUnknown;
  }
  SERVICE_STATUS status{};
  if (!::QueryServiceStatus(service.get(), &status)) return ServiceState::kUnknown;
  switch (status.dwCurrentState) {
    case SERVICE_STOPPED:
      return ServiceState::kStopped;
    case SERVICE_START_PENDING:
      return ServiceState::kStarting;
    case SERVICE_RUNNING:
      return ServiceState::kRunning;
    case SERVICE_STOP_PENDING:
      return ServiceState::kStopping;
    default:
      return ServiceState::kUnknown;
  }
}

}  // namespace korvel::ctl

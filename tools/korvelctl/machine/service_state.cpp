#include "korvelctl/machine/service_state.h"

#include "base/version.h"
#include "base/win.h"

namespace korvel::ctl {
namespace {

/// A handle of the service manager.
class ManagerHandle {
 public:
  explicit ManagerHandle(SC_HANDLE handle) : handle_(handle) {}
  ~ManagerHandle() {
    if (handle_ != nullptr) ::CloseServiceHandle(handle_);
  }
  ManagerHandle(const ManagerHandle&) = delete;
  ManagerHandle& operator=(const ManagerHandle&) = delete;
  SC_HANDLE get() const { return handle_; }

 private:
  SC_HANDLE handle_;
};

}  // namespace

ServiceState serviceState() {
  const ManagerHandle manager(
      ::OpenSCManagerW(/*machine=*/nullptr, /*database=*/nullptr, SC_MANAGER_CONNECT));
  if (manager.get() == nullptr) return ServiceState::kUnknown;
  const ManagerHandle service(::OpenServiceW(manager.get(), kServiceName, SERVICE_QUERY_STATUS));
  if (service.get() == nullptr) {
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

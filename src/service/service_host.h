// One run as a Windows service: reports states to the Service Control Manager and handles its controls.
#pragma once

#include "base/win.h"
#include "runtime/stop_signal.h"
#include "service/service_status.h"
#include "service/service_system.h"

namespace korvel::svc {

class ServiceHost {
 public:
  ServiceHost(const ServiceSystem& system, StopSignal& stop)
      : system_(system), stop_(stop), status_(system) {}

  /// Runs the service from start pending to stopped, on the service thread. `handler` must call control(). If
  /// it cannot be registered, does nothing, because no state can be reported.
  void run(LPHANDLER_FUNCTION_EX handler);

  /// Handles a control, on the dispatcher's thread, at any time during run(). A stop during the start of the
  /// engine does not interrupt the start; the service reports running and then stops.
  DWORD control(DWORD control);

 private:
  const ServiceSystem& system_;
  StopSignal& stop_;
  ServiceStatus status_;
};

}  // namespace korvel::svc

// The life of one service run: states reported to the Service Control Manager, controls turned into the stop.
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

  /// From start pending to stopped, on the service thread. `handler` must lead to control(). When it cannot
  /// be registered there is nobody to report to, and nothing happens.
  void run(LPHANDLER_FUNCTION_EX handler);

  /// The answer to a control, on the dispatcher's thread, at any time during run(). A stop while the engine
  /// starts lets it finish; the service reports running and then stops.
  DWORD control(DWORD control);

 private:
  const ServiceSystem& system_;
  StopSignal& stop_;
  ServiceStatus status_;
};

}  // namespace korvel::svc

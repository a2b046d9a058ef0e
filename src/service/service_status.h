// The one status record of the service, as it is reported to the Service Control Manager. Thread-safe: the
// service thread and the control handler both report.
#pragma once

#include "base/mutex.h"
#include "base/win.h"
#include "service/service_system.h"

namespace korvel::svc {

/// Until a handle is attached there is nobody to report to, and reports do nothing.
class ServiceStatus {
 public:
  explicit ServiceStatus(const ServiceSystem& system) : system_(system) {}

  /// Back to an empty record of a service in its own process.
  void reset() EXCLUDES(mutex_);
  void attach(SERVICE_STATUS_HANDLE handle) EXCLUDES(mutex_);

  /// Start pending or stop pending; each report raises the check point by one.
  void reportPending(DWORD state) EXCLUDES(mutex_);
  /// Running, or stopped; the stopped service still reports the controls it accepted.
  void reportSettled(DWORD state, DWORD exitCode) EXCLUDES(mutex_);
  /// Reports the current state once more.
  void answerInterrogate() EXCLUDES(mutex_);

 private:
  void fill(DWORD state, DWORD accepted, DWORD exitCode, DWORD waitHintMs) REQUIRES(mutex_);
  void send() REQUIRES(mutex_);

  const ServiceSystem& system_;
  Mutex mutex_;
  SERVICE_STATUS status_ GUARDED_BY(mutex_) = {};
  SERVICE_STATUS_HANDLE handle_ GUARDED_BY(mutex_) = nullptr;
};

}  // namespace korvel::svc

// The status record that the service reports to the Service Control Manager. Thread-safe: the service thread
// and the control handler both report.
#pragma once

#include "base/mutex.h"
#include "base/win.h"
#include "service/service_system.h"

namespace korvel::svc {

/// Reports do nothing until a handle is attached.
class ServiceStatus {
 public:
  explicit ServiceStatus(const ServiceSystem& system) : system_(system) {}

  /// Resets the record to that of a service in its own process.
  void reset() EXCLUDES(mutex_);
  void attach(SERVICE_STATUS_HANDLE handle) EXCLUDES(mutex_);

  /// Reports start pending or stop pending; each such report raises the check point by one.
  void reportPending(DWORD state) EXCLUDES(mutex_);
  /// Reports running or stopped, with the same accepted controls for both.
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

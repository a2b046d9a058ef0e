// KorvelService as the Service Control Manager of the test machine knows it.
#pragma once

#include <vector>

#include "base/unique_resource.h"

namespace korvel::test {

struct ServiceHandleTraits {
  using Value = SC_HANDLE;
  static Value empty() { return nullptr; }
  static bool valid(SC_HANDLE handle) { return handle != nullptr; }
  static void close(SC_HANDLE handle) { ::CloseServiceHandle(handle); }
};
using UniqueServiceHandle = UniqueResource<ServiceHandleTraits>;

/// Registers the installed executable for the life of the object; deleted again at its end. Not thread-safe.
class RegisteredService {
 public:
  RegisteredService();
  ~RegisteredService();
  RegisteredService(const RegisteredService&) = delete;
  RegisteredService& operator=(const RegisteredService&) = delete;

  bool start();
  /// The process of the last start, to wait for; null when it had ended before it could be opened.
  HANDLE process() const { return process_.get(); }
  /// False with the manager's code in GetLastError().
  bool control(DWORD code);
  SERVICE_STATUS_PROCESS status() const;
  /// Polls until the service is in `state`; returns every different status seen on the way, the last
  /// included. A stopped service's process has ended too.
  std::vector<SERVICE_STATUS_PROCESS> waitFor(DWORD state, DWORD limitMs = 30'000) const;

 private:
  UniqueServiceHandle manager_;
  UniqueServiceHandle service_;
  UniqueHandle process_;
};

}  // namespace korvel::test

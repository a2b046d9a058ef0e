// A table of the functions that a run as a Windows service calls: the service control functions, and those of
// the engine and the pipe server. Tests replace them to run the service without a Service Control Manager;
// the product always uses the real ones.
#pragma once

#include <string>

#include "base/win.h"

namespace korvel::svc {

/// The first three have the meaning, the result and the last error of the call they are named after.
struct ServiceSystem {
  /// The table of the real calls.
  static const ServiceSystem& windows();

  SERVICE_STATUS_HANDLE (*registerHandler)(const wchar_t* serviceName, LPHANDLER_FUNCTION_EX handler);
  BOOL (*setStatus)(SERVICE_STATUS_HANDLE handle, SERVICE_STATUS* status);
  BOOL (*startDispatcher)(const SERVICE_TABLE_ENTRYW* table);
  /// See engine_host.h.
  bool (*engineStart)(std::string* error);
  void (*engineStop)();
  void (*servePipe)();
};

}  // namespace korvel::svc

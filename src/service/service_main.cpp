#include "service/service_main.h"

#include <string>

#include "base/mutex.h"
#include "base/version.h"
#include "ipc/pipe_server.h"
#include "service/engine_host.h"
#include "service/runtime/log.h"
#include "service/runtime/stop_signal.h"

namespace korvel::svc {
namespace {

constexpr DWORD kPendingWaitHintMs = 30'000;
constexpr DWORD kAcceptedControls = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
constexpr const char* kUsage =
    "launch it through the Service Control Manager:\n"
    "  sc create KorvelService binPath= \"<path>\\KorvelService.exe\" start= auto\n"
    "  sc start KorvelService\n"
    "or run it without SCM rights:\n"
    "  KorvelService.exe --console\n"
    "diagnostics against a running service:\n"
    "  KorvelService.exe --ping\n"
    "  KorvelService.exe --update-check\n"
    "  KorvelService.exe --fw";

/// The one status record of the process, written by the service thread and by the control handler.
class ServiceStatus {
 public:
  void reset() EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    status_ = {};
    status_.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  }

  void attach(SERVICE_STATUS_HANDLE handle) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    handle_ = handle;
  }

  void reportPending(DWORD state) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    fill(state, /*accepted=*/0, NO_ERROR, kPendingWaitHintMs);
    status_.dwCheckPoint += 1;
    send();
  }

  /// Running, or stopped; the stopped service still reports the controls it accepted.
  void reportSettled(DWORD state, DWORD exitCode) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    fill(state, kAcceptedControls, exitCode, /*waitHintMs=*/0);
    status_.dwCheckPoint = 0;
    send();
  }

  void answerInterrogate() EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (handle_ == nullptr) return;
    const DWORD state = status_.dwCurrentState;
    const bool pending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
    const bool settled = state == SERVICE_RUNNING || state == SERVICE_STOPPED;
    fill(state, pending ? 0 : kAcceptedControls, NO_ERROR, /*waitHintMs=*/0);
    status_.dwCheckPoint = settled ? 0 : status_.dwCheckPoint + 1;
    send();
  }

 private:
  void fill(DWORD state, DWORD accepted, DWORD exitCode, DWORD waitHintMs) REQUIRES(mutex_) {
    status_.dwCurrentState = state;
    status_.dwControlsAccepted = accepted;
    status_.dwWin32ExitCode = exitCode;
    status_.dwServiceSpecificExitCode = 0;
    status_.dwWaitHint = waitHintMs;
  }
  void send() REQUIRES(mutex_) {
    if (handle_ != nullptr) ::SetServiceStatus(handle_, &status_);
  }

  Mutex mutex_;
  SERVICE_STATUS status_ GUARDED_BY(mutex_) = {};
  SERVICE_STATUS_HANDLE handle_ GUARDED_BY(mutex_) = nullptr;
};

ServiceStatus& serviceStatus() {
  static ServiceStatus status;
  return status;
}

DWORD WINAPI controlHandler(DWORD control, DWORD, LPVOID, LPVOID) {
  switch (control) {
    case SERVICE_CONTROL_STOP:
    case SERVICE_CONTROL_SHUTDOWN:
      serviceLog("stop requested");
      serviceStatus().reportPending(SERVICE_STOP_PENDING);
      StopSignal::process().requestStop();
      return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
      serviceStatus().answerInterrogate();
      return NO_ERROR;
    default:
      return ERROR_CALL_NOT_IMPLEMENTED;
  }
}

}  // namespace

void WINAPI ServiceMain(DWORD, LPWSTR*) {
  ServiceStatus& status = serviceStatus();
  status.reset();
  const SERVICE_STATUS_HANDLE handle =
      ::RegisterServiceCtrlHandlerExW(kServiceName, controlHandler, /*context=*/nullptr);
  if (handle == nullptr) return;  // nobody to report to
  status.attach(handle);

  status.reportPending(SERVICE_START_PENDING);
  serviceLog("initialising");
  std::string error;
  if (!engineStart(&error)) {
    Log::instance().write(kLogError, "startup failed: " + error);
    status.reportSettled(SERVICE_STOPPED, ERROR_SERVICE_SPECIFIC_ERROR);  // with service-specific code 0
    return;
  }
  status.reportSettled(SERVICE_RUNNING, NO_ERROR);
  serviceLog("running");
  ipc::runPipeServer();
  status.reportPending(SERVICE_STOP_PENDING);
  engineStop();
  status.reportSettled(SERVICE_STOPPED, NO_ERROR);
}

int runServiceMode() {
  std::wstring name = kServiceName;
  const SERVICE_TABLE_ENTRYW table[] = {{name.data(), ServiceMain}, {nullptr, nullptr}};
  if (::StartServiceCtrlDispatcherW(table)) return 0;
  Log& log = Log::instance();
  log.write(kLogError, "StartServiceCtrlDispatcher failed, win32=" + std::to_string(::GetLastError()));
  log.write(kLogInfo, kUsage);
  return static_cast<int>(::GetLastError());  // as it stands after the two log lines
}

}  // namespace korvel::svc

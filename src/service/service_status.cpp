#include "service/service_status.h"

namespace korvel::svc {
namespace {

constexpr DWORD kPendingWaitHintMs = 30'000;
constexpr DWORD kAcceptedControls = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;

}  // namespace

void ServiceStatus::reset() {
  const MutexLock lock(mutex_);
  status_ = {};
  status_.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
}

void ServiceStatus::attach(SERVICE_STATUS_HANDLE handle) {
  const MutexLock lock(mutex_);
  handle_ = handle;
}

void ServiceStatus::reportPending(DWORD state) {
  const MutexLock lock(mutex_);
  if (handle_ == nullptr) return;
  fill(state, /*accepted=*/0, NO_ERROR, kPendingWaitHintMs);
  status_.dwCheckPoint += 1;
  send();
}

void ServiceStatus::reportSettled(DWORD state, DWORD exitCode) {
  const MutexLock lock(mutex_);
  if (handle_ == nullptr) return;
  fill(state, kAcceptedControls, exitCode, /*waitHintMs=*/0);
  status_.dwCheckPoint = 0;
  send();
}

void ServiceStatus::answerInterrogate() {
  const MutexLock lock(mutex_);
  if (handle_ == nullptr) return;
  const DWORD state = status_.dwCurrentState;
  const bool pending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
  const bool settled = state == SERVICE_RUNNING || state == SERVICE_STOPPED;
  fill(state, pending ? 0 : kAcceptedControls, NO_ERROR, /*waitHintMs=*/0);
  status_.dwCheckPoint = settled ? 0 : status_.dwCheckPoint + 1;
  send();
}

void ServiceStatus::fill(DWORD state, DWORD accepted, DWORD exitCode, DWORD waitHintMs) {
  status_.dwCurrentState = state;
  status_.dwControlsAccepted = accepted;
  status_.dwWin32ExitCode = exitCode;
  status_.dwServiceSpecificExitCode = 0;  // in every report
  status_.dwWaitHint = waitHintMs;
}

void ServiceStatus::send() { system_.setStatus(handle_, &status_); }

}  // namespace korvel::svc

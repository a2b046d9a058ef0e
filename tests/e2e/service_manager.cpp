#include "e2e/service_manager.h"

#include <cstdio>
#include <stdexcept>
#include <string>

#include "e2e/machine.h"
#include "e2e/thread_report.h"
#include "support/restarts.h"

namespace korvel::test {
namespace {

constexpr wchar_t kName[] = L"KorvelService";
constexpr DWORD kPollMs = 5;
constexpr DWORD kRestartPauseMs = 1'000;
constexpr DWORD kForgottenLimitMs = 30'000;

[[noreturn]] void fail(const char* step) {
  throw std::runtime_error(std::string(step) + ", win32=" + std::to_string(::GetLastError()));
}

bool differs(const SERVICE_STATUS_PROCESS& a, const SERVICE_STATUS_PROCESS& b) {
  return a.dwCurrentState != b.dwCurrentState || a.dwCheckPoint != b.dwCheckPoint ||
         a.dwControlsAccepted != b.dwControlsAccepted;
}

}  // namespace

RegisteredService::RegisteredService()
    : manager_(::OpenSCManagerW(/*machine=*/nullptr, /*database=*/nullptr, SC_MANAGER_ALL_ACCESS)) {
  if (!manager_) fail("OpenSCManager");
  const std::wstring path = L"\"" + serviceExecutable() + L"\"";
  // The manager keeps a deleted service until it has itself seen the last process end.
  const ULONGLONG end = ::GetTickCount64() + kForgottenLimitMs;
  for (;;) {
    service_.reset(::CreateServiceW(
        manager_.get(), kName, kName, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
        SERVICE_ERROR_NORMAL, path.c_str(), /*group=*/nullptr, /*tag=*/nullptr, /*dependencies=*/nullptr,
        /*account=*/nullptr, /*password=*/nullptr));
    if (service_) return;
    if (::GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE || ::GetTickCount64() > end)
      fail("CreateService");
    ::Sleep(kPollMs);
  }
}

RegisteredService::~RegisteredService() {
  if (status().dwCurrentState != SERVICE_STOPPED) {
    (void)control(SERVICE_CONTROL_STOP);  // may have been asked already
    (void)waitFor(SERVICE_STOPPED);
  }
  ::DeleteService(service_.get());
}

bool RegisteredService::start() {
  while (!::StartServiceW(service_.get(), 0, nullptr)) {
    // The test platform now and then fails to start a process. Any other failure is the service's own.
    if (::GetLastError() != ERROR_INTERNAL_ERROR || !mayRestart("KorvelService")) return false;
    ::Sleep(kRestartPauseMs);
  }
  process_.reset(::OpenProcess(SYNCHRONIZE, /*inherit=*/FALSE, status().dwProcessId));
  return true;
}

bool RegisteredService::control(DWORD code) {
  SERVICE_STATUS ignored{};
  // A service may act on a stop and end before the manager has its answer.
  return ::ControlService(service_.get(), code, &ignored) || ::GetLastError() == ERROR_BROKEN_PIPE;
}

SERVICE_STATUS_PROCESS RegisteredService::status() const {
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  if (!::QueryServiceStatusEx(service_.get(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                              sizeof status, &needed)) {
    fail("QueryServiceStatusEx");
  }
  return status;
}

std::vector<SERVICE_STATUS_PROCESS> RegisteredService::waitFor(DWORD state, DWORD limitMs) const {
  std::vector<SERVICE_STATUS_PROCESS> seen;
  const ULONGLONG end = ::GetTickCount64() + limitMs;
  do {
    const SERVICE_STATUS_PROCESS now = status();
    if (seen.empty() || differs(seen.back(), now)) seen.push_back(now);
    if (now.dwCurrentState == state) break;
    ::Sleep(kPollMs);
  } while (::GetTickCount64() < end);
  if (seen.back().dwCurrentState != state)
    std::printf("the service does not get to state %lu; %s", state,
                threadReport(seen.back().dwProcessId).c_str());
  // "Stopped" is the last status of a process that still has to end.
  if (seen.back().dwCurrentState == SERVICE_STOPPED && process_)
    ::WaitForSingleObject(process_.get(), limitMs);
  return seen;
}

}  // namespace korvel::test

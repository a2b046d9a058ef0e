#include "korvelctl/machine/service_manager.h"

#include <algorithm>
#include <vector>

#include "base/version.h"

namespace korvel::ctl {
namespace {

constexpr DWORD kPollMs = 200;
constexpr DWORD kDeletionLimitMs = 10'000;
constexpr DWORD kProcessEndLimitMs = 10'000;

UniqueScmHandle openManager(DWORD access) {
  return UniqueScmHandle(::OpenSCManagerW(/*machine=*/nullptr, /*database=*/nullptr, access));
}

struct OpenService {
  UniqueScmHandle manager;
  UniqueScmHandle service;
};

uint32_t openService(DWORD access, OpenService& opened) {
  opened.manager = openManager(SC_MANAGER_CONNECT);
  if (!opened.manager) return ::GetLastError();
  opened.service.reset(::OpenServiceW(opened.manager.get(), kServiceName, access));
  return opened.service ? ERROR_SUCCESS : ::GetLastError();
}

std::wstring textOf(const wchar_t* text) { return text == nullptr ? std::wstring() : std::wstring(text); }

uint32_t queryState(SC_HANDLE service, ServiceFacts& facts) {
  SERVICE_STATUS_PROCESS status{};
  DWORD needed = 0;
  if (!::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status),
                              sizeof status, &needed)) {
    return ::GetLastError();
  }
  facts.state = static_cast<ScmState>(status.dwCurrentState);
  facts.processId = status.dwProcessId;
  facts.exitCode = status.dwWin32ExitCode;
  facts.specificExitCode = status.dwServiceSpecificExitCode;
  return ERROR_SUCCESS;
}

uint32_t queryConfig(SC_HANDLE service, ServiceFacts& facts) {
  constexpr DWORD kMostBytes = 8 * 1024;  // the system's own limit
  std::vector<BYTE> buffer(kMostBytes);
  auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
  DWORD needed = 0;
  if (!::QueryServiceConfigW(service, config, kMostBytes, &needed)) return ::GetLastError();
  facts.commandLine = textOf(config->lpBinaryPathName);
  facts.displayName = textOf(config->lpDisplayName);
  facts.account = textOf(config->lpServiceStartName);
  facts.startType = config->dwStartType;
  return ERROR_SUCCESS;
}

/// Leaves out what the system does not tell.
void queryExtras(SC_HANDLE service, const ScmCalls& calls, ServiceFacts& facts) {
  constexpr DWORD kMostBytes = 8 * 1024;
  std::vector<BYTE> buffer(kMostBytes);
  DWORD needed = 0;
  if (calls.queryServiceConfig2(service, SERVICE_CONFIG_DESCRIPTION, buffer.data(), kMostBytes, &needed)) {
    facts.description = textOf(reinterpret_cast<SERVICE_DESCRIPTIONW*>(buffer.data())->lpDescription);
  }
  if (!calls.queryServiceConfig2(service, SERVICE_CONFIG_FAILURE_ACTIONS, buffer.data(), kMostBytes, &needed))
    return;
  const auto* told = reinterpret_cast<const SERVICE_FAILURE_ACTIONSW*>(buffer.data());
  Recovery recovery{told->dwResetPeriod, {}};
  for (DWORD i = 0; told->lpsaActions != nullptr && i < told->cActions; ++i) {
    recovery.steps.push_back(
        {static_cast<RecoveryAction>(told->lpsaActions[i].Type), told->lpsaActions[i].Delay});
  }
  facts.recovery = std::move(recovery);
}

uint32_t setRecovery(SC_HANDLE service, const Recovery& recovery, const ScmCalls& calls) {
  std::vector<SC_ACTION> actions;
  for (const RecoveryStep& step : recovery.steps)
    actions.push_back({static_cast<SC_ACTION_TYPE>(step.action), step.delayMs});
  // An empty list must still be one: a null pointer would leave the old actions.
  SC_ACTION none{SC_ACTION_NONE, 0};
  SERVICE_FAILURE_ACTIONSW failure{};
  failure.dwResetPeriod = recovery.resetSeconds;
  failure.cActions = static_cast<DWORD>(actions.size());
  failure.lpsaActions = actions.empty() ? &none : actions.data();
  return calls.changeServiceConfig2(service, SERVICE_CONFIG_FAILURE_ACTIONS, &failure) ? ERROR_SUCCESS
                                                                                       : ::GetLastError();
}

uint32_t setDescription(SC_HANDLE service, const std::wstring& text, const ScmCalls& calls) {
  std::wstring copy = text;
  SERVICE_DESCRIPTIONW description{copy.data()};
  return calls.changeServiceConfig2(service, SERVICE_CONFIG_DESCRIPTION, &description) ? ERROR_SUCCESS
                                                                                       : ::GetLastError();
}

UniqueScmHandle createService(SC_HANDLE manager, const ServicePlan& plan) {
  return UniqueScmHandle(::CreateServiceW(
      manager, kServiceName, plan.displayName.c_str(), SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
      SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, plan.commandLine.c_str(), /*group=*/nullptr, /*tag=*/nullptr,
      /*dependencies=*/nullptr, /*account=*/nullptr, /*password=*/nullptr));
}

BOOL changeService(SC_HANDLE service, const ServicePlan& plan) {
  return ::ChangeServiceConfigW(service, SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                plan.commandLine.c_str(), /*group=*/nullptr, /*tag=*/nullptr,
                                /*dependencies=*/nullptr, L"LocalSystem", /*password=*/nullptr,
                                plan.displayName.c_str());
}

/// Creates the service or opens the one that is there. Empty with the reason in GetLastError().
UniqueScmHandle createOrOpen(SC_HANDLE manager, const ServicePlan& plan, bool* created) {
  const ULONGLONG end = ::GetTickCount64() + kDeletionLimitMs;
  for (;;) {
    UniqueScmHandle service = createService(manager, plan);
    *created = static_cast<bool>(service);
    if (service) return service;
    if (::GetLastError() == ERROR_SERVICE_EXISTS)
      return UniqueScmHandle(::OpenServiceW(manager, kServiceName, SERVICE_ALL_ACCESS));
    if (::GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE || ::GetTickCount64() > end) return {};
    ::Sleep(kPollMs);
  }
}

}  // namespace

const ScmCalls& ScmCalls::windows() {
  static const ScmCalls calls = {
      [](SC_HANDLE service, DWORD level, void* info)
          WINAPI { return ::ChangeServiceConfig2W(service, level, info); },
      [](SC_HANDLE service, DWORD level, BYTE* buffer, DWORD size, DWORD* needed)
          WINAPI { return ::QueryServiceConfig2W(service, level, buffer, size, needed); }};
  return calls;
}

uint32_t queryService(ServiceFacts& facts, const ScmCalls& calls) {
  facts = {};
  OpenService opened;
  const uint32_t result = openService(SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG, opened);
  if (result == ERROR_SERVICE_DOES_NOT_EXIST || result == ERROR_SERVICE_MARKED_FOR_DELETE)
    return ERROR_SUCCESS;
  if (result != ERROR_SUCCESS) return result;
  if (const uint32_t failed = queryState(opened.service.get(), facts); failed != ERROR_SUCCESS) return failed;
  if (const uint32_t failed = queryConfig(opened.service.get(), facts); failed != ERROR_SUCCESS)
    return failed;
  queryExtras(opened.service.get(), calls, facts);
  return ERROR_SUCCESS;
}

uint32_t installService(const ServicePlan& plan, bool* created, const ScmCalls& calls) {
  const UniqueScmHandle manager = openManager(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE);
  if (!manager) return ::GetLastError();
  const UniqueScmHandle service = createOrOpen(manager.get(), plan, created);
  if (!service) return ::GetLastError();
  if (!*created && !changeService(service.get(), plan)) return ::GetLastError();
  if (const uint32_t failed = setDescription(service.get(), plan.description, calls); failed != ERROR_SUCCESS)
    return failed;
  return setRecovery(service.get(), plan.recovery, calls);
}

uint32_t removeService() {
  OpenService opened;
  if (const uint32_t failed = openService(DELETE, opened); failed != ERROR_SUCCESS) return failed;
  return ::DeleteService(opened.service.get()) ? ERROR_SUCCESS : ::GetLastError();
}

uint32_t startService() {
  OpenService opened;
  if (const uint32_t failed = openService(SERVICE_START, opened); failed != ERROR_SUCCESS) return failed;
  return ::StartServiceW(opened.service.get(), 0, nullptr) ? ERROR_SUCCESS : ::GetLastError();
}

uint32_t stopService() {
  OpenService opened;
  if (const uint32_t failed = openService(SERVICE_STOP, opened); failed != ERROR_SUCCESS) return failed;
  SERVICE_STATUS ignored{};
  if (::ControlService(opened.service.get(), SERVICE_CONTROL_STOP, &ignored)) return ERROR_SUCCESS;
  // A service may act on the stop and end before the manager has its answer.
  return ::GetLastError() == ERROR_BROKEN_PIPE ? ERROR_SUCCESS : ::GetLastError();
}

uint32_t waitForService(ScmState wanted, uint32_t limitMs, ServiceFacts& facts,
                        const WhileWaiting& meanwhile) {
  const ULONGLONG end = ::GetTickCount64() + limitMs;
  OpenService opened;
  if (const uint32_t failed = openService(SERVICE_QUERY_STATUS, opened); failed != ERROR_SUCCESS)
    return failed;
  UniqueHandle process;
  for (;;) {
    if (const uint32_t failed = queryState(opened.service.get(), facts); failed != ERROR_SUCCESS)
      return failed;
    if (!process && facts.processId != 0)
      process.reset(::OpenProcess(SYNCHRONIZE, /*inherit=*/FALSE, facts.processId));
    if (facts.state == wanted) break;
    if (wanted == ScmState::kRunning && facts.state == ScmState::kStopped) return ERROR_SERVICE_NOT_ACTIVE;
    if (::GetTickCount64() >= end || (meanwhile && !meanwhile(facts))) return WAIT_TIMEOUT;
    ::Sleep(kPollMs);
  }
  // "Stopped" is the last status of a process that still has to end, and that holds its files until then.
  if (wanted != ScmState::kStopped || !process) return ERROR_SUCCESS;
  const ULONGLONG now = ::GetTickCount64();
  const DWORD rest = std::max<DWORD>(kProcessEndLimitMs, now < end ? static_cast<DWORD>(end - now) : 0);
  return ::WaitForSingleObject(process.get(), rest) == WAIT_OBJECT_0 ? ERROR_SUCCESS : WAIT_TIMEOUT;
}

uint32_t killService(const ScmCalls& calls) {
  OpenService opened;
  ServiceFacts facts;
  uint32_t result = openService(SERVICE_QUERY_STATUS | SERVICE_CHANGE_CONFIG | SERVICE_START, opened);
  if (result == ERROR_SUCCESS) result = queryState(opened.service.get(), facts);
  if (result != ERROR_SUCCESS || facts.processId == 0) return result;
  const UniqueHandle process(
      ::OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, /*inherit=*/FALSE, facts.processId));
  if (!process) return ::GetLastError();
  (void)setRecovery(opened.service.get(), Recovery(), calls);  // the end of the process matters more
  if (!::TerminateProcess(process.get(), ERROR_PROCESS_ABORTED)) return ::GetLastError();
  return ::WaitForSingleObject(process.get(), kProcessEndLimitMs) == WAIT_OBJECT_0 ? ERROR_SUCCESS
                                                                                   : WAIT_TIMEOUT;
}

}  // namespace korvel::ctl

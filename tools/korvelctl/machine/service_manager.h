// The service as the Service Control Manager of this machine knows it. Results are Windows error codes, 0 for
// success; what needs an administrator gives 5 without one. Functions wait only where they say so. Not
// thread-safe.
#pragma once

#include <cstdint>
#include <functional>

#include "base/unique_resource.h"
#include "korvelctl/machine/scm_calls.h"
#include "korvelctl/model/service_plan.h"

namespace korvel::ctl {

struct ScmHandleTraits {
  using Value = SC_HANDLE;
  static Value empty() { return nullptr; }
  static bool valid(SC_HANDLE handle) { return handle != nullptr; }
  static void close(SC_HANDLE handle) { ::CloseServiceHandle(handle); }
};
using UniqueScmHandle = UniqueResource<ScmHandleTraits>;

/// A service that is not installed is a success. Any user may ask.
uint32_t queryService(ServiceFacts& facts, const ScmCalls& calls = ScmCalls::windows());

/// Registers the service, or changes the registration that is there, to the plan: own process, automatic
/// start, LocalSystem. A registration that is being deleted is waited for, up to 10 s.
uint32_t installService(const ServicePlan& plan, bool* created, const ScmCalls& calls = ScmCalls::windows());

/// Removes the registration; it disappears when the service has stopped. 1060 when there is none.
uint32_t removeService();

/// Asks for the start. 1056 when it runs already.
uint32_t startService();
/// Asks for the stop. 1062 when it does not run.
uint32_t stopService();

/// Called about every 200 ms with what is known; false ends the wait.
using WhileWaiting = std::function<bool(const ServiceFacts&)>;
/// Waits until the service is stopped or runs, as `wanted` says, and when stopped also until its process has
/// ended. WAIT_TIMEOUT (258) when `limitMs` passes first or `meanwhile` ends the wait; when the service stops
/// instead of starting, ERROR_SERVICE_NOT_ACTIVE (1062) with its exit codes in `facts`.
uint32_t waitForService(ScmState wanted, uint32_t limitMs, ServiceFacts& facts,
                        const WhileWaiting& meanwhile = {});

/// Ends the process of a service that does not stop. Its restart after a crash is switched off first, and
/// stays so until the service is installed again.
uint32_t killService(const ScmCalls& calls = ScmCalls::windows());

}  // namespace korvel::ctl

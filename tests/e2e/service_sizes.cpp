#include "e2e/service_sizes.h"

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/unique_resource.h"

#include <psapi.h>
#include <winternl.h>

namespace korvel::test {
namespace {

/// What the system's list of processes says about one.
struct Listed {
  uint32_t handles = 0;
  uint32_t threads = 0;
};

Listed listed(DWORD id) {
  // Asked of the list, since not every system counts the handles of a single process.
  const auto query = reinterpret_cast<decltype(&::NtQuerySystemInformation)>(reinterpret_cast<void*>(
      ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<char> list(1 << 20);
  if (query == nullptr ||
      query(SystemProcessInformation, list.data(), static_cast<ULONG>(list.size()), nullptr) != 0)
    throw std::runtime_error("cannot list the processes");
  for (const char* at = list.data();;) {
    SYSTEM_PROCESS_INFORMATION process{};
    std::memcpy(&process, at, sizeof process);
    if (reinterpret_cast<uintptr_t>(process.UniqueProcessId) == id)
      return {process.HandleCount, process.NumberOfThreads};
    if (process.NextEntryOffset == 0) throw std::runtime_error("the process is not listed");
    at += process.NextEntryOffset;
  }
}

}  // namespace

ServiceSizes sizesOf(DWORD id) {
  const UniqueHandle process(
      ::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, /*inherit=*/FALSE, id));
  PROCESS_MEMORY_COUNTERS counters{};
  if (!process || !::K32GetProcessMemoryInfo(process.get(), &counters, sizeof counters))
    throw std::runtime_error("cannot look at a process, win32=" + std::to_string(::GetLastError()));
  const Listed counts = listed(id);
  return {counters.PagefileUsage, counters.PeakWorkingSetSize, counts.handles, counts.threads};
}

}  // namespace korvel::test

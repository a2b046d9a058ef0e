#include "e2e/thread_report.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

#include "base/unique_resource.h"
#include "base/utf.h"

#include <tlhelp32.h>

namespace korvel::test {
namespace {

constexpr size_t kStackBytes = 16 * 1024;  // of each stack, from its innermost end
constexpr size_t kMostFrames = 24;

struct Module {
  std::string name;
  uint64_t start = 0;
  uint64_t end = 0;
};

UniqueHandle snapshot(DWORD what, DWORD process) {
  return UniqueHandle(::CreateToolhelp32Snapshot(what, process));
}

std::vector<Module> modulesOf(DWORD process) {
  std::vector<Module> modules;
  const UniqueHandle list = snapshot(TH32CS_SNAPMODULE, process);
  MODULEENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Module32FirstW(list.get(), &entry); more; more = ::Module32NextW(list.get(), &entry)) {
    const auto start = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(entry.modBaseAddr));
    modules.push_back({toUtf8(entry.szModule), start, start + entry.modBaseSize});
  }
  return modules;
}

std::vector<DWORD> threadsOf(DWORD process) {
  std::vector<DWORD> threads;
  const UniqueHandle list = snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Thread32First(list.get(), &entry); more; more = ::Thread32Next(list.get(), &entry)) {
    if (entry.th32OwnerProcessID == process) threads.push_back(entry.th32ThreadID);
  }
  return threads;
}

/// "module+0x123"; empty for an address in no module.
std::string placeOf(uint64_t address, const std::vector<Module>& modules) {
  const auto module = std::find_if(modules.begin(), modules.end(), [address](const Module& candidate) {
    return address >= candidate.start && address < candidate.end;
  });
  if (module == modules.end()) return {};
  char offset[32];
  std::snprintf(offset, sizeof offset, "+0x%llx", static_cast<unsigned long long>(address - module->start));
  return module->name + offset;
}

bool isCode(HANDLE process, uint64_t address) {
  constexpr DWORD kExecutable =
      PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  MEMORY_BASIC_INFORMATION region{};
  const void* const place = reinterpret_cast<const void*>(static_cast<uintptr_t>(address));
  return ::VirtualQueryEx(process, place, &region, sizeof region) != 0 && (region.Protect & kExecutable) != 0;
}

/// The registers of a thread, which is held only as long as that takes.
std::optional<CONTEXT> contextOf(DWORD threadId) {
  const UniqueHandle thread(
      ::OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT, /*inherit=*/FALSE, threadId));
  if (!thread || ::SuspendThread(thread.get()) == static_cast<DWORD>(-1)) return std::nullopt;
  CONTEXT context{};
  context.ContextFlags = CONTEXT_CONTROL;
  const BOOL known = ::GetThreadContext(thread.get(), &context);
  ::ResumeThread(thread.get());
  if (!known) return std::nullopt;
  return context;
}

std::vector<uint64_t> stackFrom(HANDLE process, uint64_t top) {
  std::vector<uint64_t> words(kStackBytes / sizeof(uint64_t));
  SIZE_T bytes = 0;
  // Piece by piece: the stack may end before the buffer does.
  constexpr SIZE_T kPiece = 1024;
  auto* const to = reinterpret_cast<char*>(words.data());
  while (bytes < kStackBytes) {
    const void* const from = reinterpret_cast<const void*>(static_cast<uintptr_t>(top + bytes));
    if (!::ReadProcessMemory(process, from, to + bytes, kPiece, nullptr)) break;
    bytes += kPiece;
  }
  words.resize(bytes / sizeof(uint64_t));
  return words;
}

std::string describe(HANDLE process, const CONTEXT& context, const std::vector<Module>& modules) {
  std::string text = " " + placeOf(context.Rip, modules);
  size_t frames = 0;
  for (const uint64_t word : stackFrom(process, context.Rsp)) {
    const std::string place = placeOf(word, modules);
    if (place.empty() || !isCode(process, word)) continue;
    text += "\n    " + place;
    if (++frames == kMostFrames) break;
  }
  return text;
}

}  // namespace

std::string threadReport(DWORD processId) {
  const UniqueHandle process(
      ::OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, /*inherit=*/FALSE, processId));
  const std::vector<Module> modules = modulesOf(processId);
  std::string text = "threads of process " + std::to_string(processId) + ":\n";
  for (const DWORD thread : threadsOf(processId)) {
    const std::optional<CONTEXT> context = contextOf(thread);
    text += "  thread " + std::to_string(thread) +
            (context ? describe(process.get(), *context, modules) : " (cannot be looked at)") + "\n";
  }
  return text;
}

}  // namespace korvel::test

#include "service/crash_filter.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>

#include "base/long_path.h"
#include "base/sizes.h"
#include "base/unique_resource.h"

namespace korvel {
namespace {

constexpr size_t kTextBytes = 256;  // with the terminating NUL
constexpr DWORD kUncaughtCppException = 0xE06D7363;
constexpr ULONG kStackOfFilterBytes = 64 * kKiB;  // many times what the line and the calls around it take

// Set at start-up and kept until the process ends. The handle may be invalid. The path is stored because
// looking it up would need the shell and the heap, whose locks the crashed thread may hold.
HANDLE crashLogHandle = INVALID_HANDLE_VALUE;
const std::wstring* crashLogPath = nullptr;

HANDLE openCrashLog() {
  return ::CreateFileW(crashLogPath->c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       /*security=*/nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr);
}

void writeCrashLine(const char* line) {
  HANDLE file = crashLogHandle;
  UniqueHandle fresh;
  if (!KernelHandleTraits::valid(file)) {
    fresh.reset(openCrashLog());
    file = fresh.get();
  }
  if (!KernelHandleTraits::valid(file)) return;
  DWORD written = 0;
  ::WriteFile(file, line, static_cast<DWORD>(std::strlen(line)), &written, /*overlapped=*/nullptr);
}

/// The runtime ends a process after an uncaught C++ exception without calling the filter. This terminate
/// handler calls it by raising a system exception.
[[noreturn]] void raiseForFilter() {
  ::RaiseException(kUncaughtCppException, EXCEPTION_NONCONTINUABLE, /*argumentCount=*/0,
                   /*arguments=*/nullptr);
  ::TerminateProcess(::GetCurrentProcess(), kUncaughtCppException);
  for (;;) {
  }
}

/// Each thread keeps a part of its stack back, so that the filter can still run where the rest has
/// overflowed. The loader calls this on every thread as it begins, those of the system's libraries included.
void NTAPI keepStackForFilter(void* /*module*/, DWORD reason, void* /*reserved*/) {
  if (reason != DLL_PROCESS_ATTACH && reason != DLL_THREAD_ATTACH) return;
  ULONG bytes = kStackOfFilterBytes;
  (void)::SetThreadStackGuarantee(&bytes);
}

// The section of the functions that the loader calls.
__attribute__((section(".CRT$XLC"), used)) const PIMAGE_TLS_CALLBACK kOnThread = keepStackForFilter;

}  // namespace

void installCrashFilter(const std::wstring& logFile) {
  // Never freed: the filter may run while the process ends.
  crashLogPath = new std::wstring(forFileApi(logFile));
  crashLogHandle = openCrashLog();
  ::SetUnhandledExceptionFilter(crashFilter);
  std::set_terminate(raiseForFilter);
}

LONG WINAPI crashFilter(EXCEPTION_POINTERS* pointers) {
  if (pointers == nullptr || pointers->ExceptionRecord == nullptr) return EXCEPTION_EXECUTE_HANDLER;
  const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
  char text[kTextBytes];
  // The address as 16 upper-case digits; this C library's %p prints lower case.
  std::snprintf(text, sizeof text, "UNHANDLED EXCEPTION code=0x%08lX address=%016llX thread=%lu",
                record.ExceptionCode,
                static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(record.ExceptionAddress)),
                ::GetCurrentThreadId());
  char line[kTextBytes + 16];
  std::snprintf(line, sizeof line, "%s\n", text);
  ::OutputDebugStringA(line);
  std::snprintf(line, sizeof line, "crash: %s\n", text);
  writeCrashLine(line);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace korvel

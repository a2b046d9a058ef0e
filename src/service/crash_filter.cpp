#include "service/crash_filter.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>

#include "base/unique_resource.h"
#include "base/win.h"
#include "config/data_paths.h"

namespace korvel {
namespace {

constexpr size_t kTextBytes = 256;  // with the terminating NUL
constexpr DWORD kUncaughtCppException = 0xE06D7363;

// Open from start-up to the end of the process; may be invalid.
HANDLE crashLogHandle = INVALID_HANDLE_VALUE;

HANDLE openLogFile(const std::wstring& path) {
  return ::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       /*security=*/nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr);
}

void writeCrashLine(const char* line) {
  HANDLE file = crashLogHandle;
  UniqueHandle fresh;
  if (!KernelHandleTraits::valid(file)) {
    fresh.reset(openLogFile(logPath()));
    file = fresh.get();
  }
  if (!KernelHandleTraits::valid(file)) return;
  DWORD written = 0;
  ::WriteFile(file, line, static_cast<DWORD>(std::strlen(line)), &written, /*overlapped=*/nullptr);
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

/// The runtime ends a process with an uncaught C++ exception without asking the filter; this asks it.
[[noreturn]] void raiseForFilter() {
  ::RaiseException(kUncaughtCppException, EXCEPTION_NONCONTINUABLE, /*argumentCount=*/0,
                   /*arguments=*/nullptr);
  ::TerminateProcess(::GetCurrentProcess(), kUncaughtCppException);
  for (;;) {
  }
}

}  // namespace

void installCrashFilter(const std::wstring& logFile) {
  crashLogHandle = openLogFile(logFile);
  ::SetUnhandledExceptionFilter(crashFilter);
  std::set_terminate(raiseForFilter);
}

}  // namespace korvel

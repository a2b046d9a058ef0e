// Installs the crash filter and then crashes, or calls the filter, in the way its argument names. A crash
// ends the whole process, so crash_filter_test.cpp starts this program for each case.
//
//   crash_child LOG WAY [CODE ADDRESS]
//
// The id of the thread that crashes is written to the standard output first.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <stdexcept>
#include <thread>

#include "base/files.h"
#include "base/paths.h"
#include "service/crash_filter.h"
#include "support/debugger_echo.h"

namespace {

constexpr int kDidNotCrash = 99;

void announceThread() {
  std::printf("%lu\n", ::GetCurrentThreadId());
  std::fflush(stdout);
}

void violateAccess() {
  announceThread();
  volatile uintptr_t nowhere = 0x10;  // the compiler must not see through it
  *reinterpret_cast<volatile int*>(nowhere) = 1;
}

void throwUncaught() {
  announceThread();
  throw std::runtime_error("nobody catches this");
}

void throwPastNoexcept() noexcept { throwUncaught(); }

void overflowStack(int depth) {
  volatile char frame[1024];
  frame[0] = static_cast<char>(depth);
  volatile bool goOn = true;  // the compiler must not see that it never ends
  if (goOn) overflowStack(depth + 1);
  frame[1] = frame[0];
}

void announceAndOverflowStack() {
  announceThread();
  overflowStack(0);
}

/// The part of this thread's stack that is kept back for the filter.
int keptStackBytes() {
  ULONG bytes = 0;  // changes nothing and brings the value in force
  return ::SetThreadStackGuarantee(&bytes) ? static_cast<int>(bytes) : 0;
}

void onThread(void (*crash)()) { std::thread(crash).join(); }

/// Calls the filter with a record made of the arguments, and shows what went to the debugger.
LONG callFilter(wchar_t** arguments) {
  EXCEPTION_RECORD record{};
  record.ExceptionCode = std::wcstoul(arguments[0], nullptr, 16);
  record.ExceptionAddress = reinterpret_cast<void*>(std::wcstoull(arguments[1], nullptr, 16));
  EXCEPTION_POINTERS pointers{&record, nullptr};
  announceThread();
  const korvel::test::DebuggerEcho echo;
  const LONG result = korvel::crashFilter(&pointers);
  std::printf("%s", korvel::test::DebuggerEcho::text().c_str());
  return result;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (count < 3) return kDidNotCrash;
  const std::wstring log = arguments[1];
  const std::wstring way = arguments[2];
  korvel::installCrashFilter(log);

  if (way == L"filter") return callFilter(arguments + 3);
  if (way == L"filter-on-thread") {
    LONG result = 0;
    std::thread([&] { result = callFilter(arguments + 3); }).join();
    return result;
  }
  if (way == L"filter-twice-once-the-folder-is-there") {
    (void)korvel::createDirectories(korvel::parentDirectory(log));
    return callFilter(arguments + 3) + callFilter(arguments + 3);
  }
  if (way == L"filter-without-pointers") return korvel::crashFilter(nullptr);
  if (way == L"filter-without-record") {
    EXCEPTION_POINTERS pointers{};
    return korvel::crashFilter(&pointers);
  }
  if (way == L"access-violation") violateAccess();
  if (way == L"access-violation-on-thread") onThread(violateAccess);
  if (way == L"overflow-stack-on-thread") onThread(announceAndOverflowStack);
  if (way == L"kept-stack") return keptStackBytes();
  if (way == L"kept-stack-on-thread") {
    int bytes = 0;
    std::thread([&bytes] { bytes = keptStackBytes(); }).join();
    return bytes;
  }
  if (way == L"throw") throwUncaught();
  if (way == L"throw-on-thread") onThread(throwUncaught);
  if (way == L"throw-past-noexcept") throwPastNoexcept();
  return kDidNotCrash;
}

// What the current thread sends to the debugger output. Windows only.
#pragma once

#include <string>

#include "base/win.h"

namespace korvel::test {

/// Collects what the current thread sends to the debugger output: with no debugger attached the system raises
/// an exception that carries the text.
class DebuggerEcho {
 public:
  DebuggerEcho() : handler_(::AddVectoredExceptionHandler(/*first=*/1, &receive)) { text().clear(); }
  ~DebuggerEcho() { ::RemoveVectoredExceptionHandler(handler_); }
  DebuggerEcho(const DebuggerEcho&) = delete;
  DebuggerEcho& operator=(const DebuggerEcho&) = delete;

  static std::string& text() {
    thread_local std::string collected;
    return collected;
  }

 private:
  static LONG CALLBACK receive(EXCEPTION_POINTERS* pointers) {
    constexpr DWORD kDebugPrint = 0x40010006;
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode == kDebugPrint && record.NumberParameters >= 2) {
      text().append(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    }
    return EXCEPTION_CONTINUE_SEARCH;
  }

  void* handler_;
};

}  // namespace korvel::test

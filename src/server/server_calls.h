// A table of the system calls that the service's end of the control pipe makes, so that tests can replace any
// of them with a failing one. The product always uses the real calls.
#pragma once

#include "base/win.h"

namespace korvel::ipc {

/// Each member has the meaning, the result and the last error of the call it is named after.
struct ServerCalls {
  /// The table of the real calls.
  static const ServerCalls& windows();

  /// The security descriptor of an SDDL text; the caller frees it with LocalFree.
  BOOL (*convertSddl)(const wchar_t* sddl, PSECURITY_DESCRIPTOR* descriptor);
  decltype(&::CreateNamedPipeW) createNamedPipe;
  /// Manual-reset, not signalled.
  HANDLE (*createEvent)();
  BOOL (*readFile)(HANDLE pipe, void* buffer, DWORD bytes, OVERLAPPED* overlapped);
  BOOL (*writeFile)(HANDLE pipe, const void* buffer, DWORD bytes, OVERLAPPED* overlapped);
  BOOL (*connectNamedPipe)(HANDLE pipe, OVERLAPPED* overlapped);
  /// Waits for either of two objects without a time limit.
  DWORD (*waitForEither)(HANDLE first, HANDLE second);
  BOOL (*getOverlappedResult)(HANDLE pipe, OVERLAPPED* overlapped, DWORD* transferred, BOOL wait);
  void (*sleep)(DWORD milliseconds);
  /// Null when there is no thread to be had.
  HANDLE (*createThread)(LPTHREAD_START_ROUTINE function, void* argument);
};

}  // namespace korvel::ipc

// A table of the system calls that a client of the control pipe makes, so that tests can replace any of them
// with a failing one. The product always uses the real calls.
#pragma once

#include "base/win.h"

namespace korvel::ipc {

/// Each member has the meaning, the result and the last error of the call it is named after.
struct ClientCalls {
  /// The table of the real calls.
  static const ClientCalls& windows();

  BOOL (*readFile)(HANDLE pipe, void* buffer, DWORD bytes, DWORD* transferred);
  BOOL (*writeFile)(HANDLE pipe, const void* buffer, DWORD bytes, DWORD* transferred);
  BOOL (*waitNamedPipe)(const wchar_t* name, DWORD milliseconds);
  void (*sleep)(DWORD milliseconds);
};

}  // namespace korvel::ipc

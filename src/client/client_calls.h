// The system calls behind a client of the control pipe as a table, so that tests can put a failing stand-in
// for any one of them. The product uses the real ones throughout.
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

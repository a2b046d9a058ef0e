// A table of the calls to the Service Control Manager whose effect not every platform has, so that tests can
// see what was asked of it. The product always uses the real calls.
#pragma once

#include "base/win.h"

namespace korvel::ctl {

/// Each member has the meaning, the result and the last error of the call it is named after.
struct ScmCalls {
  /// The table of the real calls.
  static const ScmCalls& windows();

  BOOL(WINAPI* changeServiceConfig2)(SC_HANDLE service, DWORD level, void* info);
  BOOL(WINAPI* queryServiceConfig2)(SC_HANDLE service, DWORD level, BYTE* buffer, DWORD size, DWORD* needed);
};

}  // namespace korvel::ctl

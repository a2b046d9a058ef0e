// A table of the system calls with which a scan finds and opens files and makes way for others, so that tests
// can play what only a real system has. The product always uses the real calls.
#pragma once

#include "base/win.h"

namespace korvel {

/// Each member has the meaning, the result and the last error of the call it is named after.
struct FileCalls {
  /// The table of the real calls.
  static const FileCalls& windows();

  decltype(&::FindFirstFileExW) findFirstFile;
  decltype(&::FindNextFileW) findNextFile;
  decltype(&::GetFileAttributesExW) getFileAttributes;
  decltype(&::CreateFileW) createFile;
  decltype(&::SetThreadPriority) setThreadPriority = ::SetThreadPriority;
};

}  // namespace korvel

#include "scan/file_calls.h"

namespace korvel {

const FileCalls& FileCalls::windows() {
  static const FileCalls calls{.findFirstFile = ::FindFirstFileExW,
                               .findNextFile = ::FindNextFileW,
                               .getFileAttributes = ::GetFileAttributesExW,
                               .createFile = ::CreateFileW,
                               .setThreadPriority = ::SetThreadPriority};
  return calls;
}

}  // namespace korvel

#include "scan/file_calls.h"

namespace korvel {

const FileCalls& FileCalls::windows() {
  static const FileCalls calls{.findFirstFile = ::FindFirstFileExW,
                               .findNextFile = ::FindNextFileW,
                               .getFileAttributes = ::GetFileAttributesExW,
                               .createFile = ::CreateFileW};
  return calls;
}

}  // namespace korvel

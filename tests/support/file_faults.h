// Makes the calls fail with which the program writes files. Windows only.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "base/win.h"

namespace korvel::test {

/// While it lives, the nth call (1 is the next one) that opens, reads, writes, flushes, closes, moves, marks
/// or deletes a file below `folder` fails with `code`, and with `forEver` each one after it too. Handles are
/// closed all the same. Reaches the calls that were linked into this program, on every thread. At most one at
/// a time.
class FileFault {
 public:
  FileFault(std::wstring folder, size_t nth, DWORD code, bool forEver);
  ~FileFault();
  FileFault(const FileFault&) = delete;
  FileFault& operator=(const FileFault&) = delete;

  size_t calls() const;  ///< so far, those that failed included
  /// Whether a deletion has failed: then a temporary file may be left.
  bool deletionFailed() const;
  /// The name of the first call that failed; empty when there was none.
  std::string failed() const;

 private:
  struct Patches;
  std::unique_ptr<Patches> patches_;
};

}  // namespace korvel::test

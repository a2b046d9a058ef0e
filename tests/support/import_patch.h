// Puts a function of the test in the place of a function of the system, for the calls that this program
// makes. Windows only.
#pragma once

#include "base/win.h"

namespace korvel::test {

/// While it lives, calls of `name` that were linked into the program reach `replacement`, on every thread.
/// Calls that the system makes itself do not. Throws when the program does not import `name`.
class ImportPatch {
 public:
  template <typename Function>
  ImportPatch(const char* name, Function* replacement)
      : ImportPatch(name, reinterpret_cast<void*>(replacement), 0) {}
  ~ImportPatch();
  ImportPatch(const ImportPatch&) = delete;
  ImportPatch& operator=(const ImportPatch&) = delete;

  /// The function of the system.
  template <typename Function>
  Function* original() const {
    return reinterpret_cast<Function*>(original_);
  }

 private:
  ImportPatch(const char* name, void* replacement, int);

  void** slot_;
  void* original_;
};

}  // namespace korvel::test

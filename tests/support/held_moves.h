// A target that another program never lets go of, and a stop that comes at the first attempt. Windows only.
#pragma once

#include "base/stop.h"
#include "support/import_patch.h"

namespace korvel::test {

/// While it lives, each move of a file fails with "access denied", and the first one requests the stop. One
/// at a time.
class HeldMoves {
 public:
  HeldMoves() {
    tries_ = 0;
    stopper_ = &stop_;
  }

  StopToken stop() const { return stop_.get_token(); }
  /// The moves that were tried.
  int tries() const { return tries_; }

 private:
  static BOOL WINAPI failToMove(const wchar_t*, const wchar_t*, DWORD) {
    if (++tries_ == 1) stopper_->request_stop();
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }

  inline static int tries_ = 0;
  inline static StopSource* stopper_ = nullptr;

  StopSource stop_;
  const ImportPatch patch_{"MoveFileExW", failToMove};
};

}  // namespace korvel::test

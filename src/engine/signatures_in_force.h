// The signature database that new scans start with. A reload swaps the pointer; the old database lives until
// its last user releases it. Thread-safe.
#pragma once

#include <memory>

#include "base/mutex.h"

namespace korvel {
class SignatureDatabase;
}

namespace korvel::svc {

class SignaturesInForce {
 public:
  using Pointer = std::shared_ptr<const SignatureDatabase>;

  /// Null while no database is loaded.
  Pointer current() const EXCLUDES(mutex_);
  /// Puts `database` in force.
  void replace(Pointer database) EXCLUDES(mutex_);

 private:
  mutable Mutex mutex_;  // held only to copy or swap the pointer
  Pointer database_ GUARDED_BY(mutex_);
};

}  // namespace korvel::svc

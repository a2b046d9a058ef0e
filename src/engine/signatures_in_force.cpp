#include "engine/signatures_in_force.h"

namespace korvel::svc {

SignaturesInForce::Pointer SignaturesInForce::current() const {
  const MutexLock lock(mutex_);
  return database_;
}

void SignaturesInForce::replace(Pointer database) {
  // The old one is freed with `database`, after the lock: freeing millions of entries takes a while.
  const MutexLock lock(mutex_);
  database_.swap(database);
}

}  // namespace korvel::svc

#include "engine/signatures_in_force.h"

namespace korvel::svc {

SignaturesInForce::Pointer SignaturesInForce::current() const {
  const MutexLock lock(mutex_);
  return database_;
}

void SignaturesInForce::replace(Pointer database) {
  // The old database is freed with the parameter, after the lock is released: freeing millions of entries
  // takes a while.
  const MutexLock lock(mutex_);
  database_.swap(database);
}

}  // namespace korvel::svc

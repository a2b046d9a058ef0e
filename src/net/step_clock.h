// Watches how long the steps of an exchange take. The thread of the exchange says which call of the platform
// runs and when that call comes to its next step. Another thread asks whether a step lasts too long, and then
// gives the exchange up: no further call begins. Thread-safe.
#pragma once

#include <chrono>

#include "base/mutex.h"

namespace korvel {

class StepClock {
 public:
  using Clock = std::chrono::steady_clock;

  static constexpr std::chrono::seconds kLimit{15};

  explicit StepClock(Clock::duration limit = kLimit) : limit_(limit) {}

  /// The call `name`, a literal, begins with its first step. False once the exchange was given up: the call
  /// must not be made.
  bool begin(const char* name) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (givenUp_) return false;
    start(name);
    return true;
  }

  /// The call that runs has come to its next step.
  void next() EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (call_ != nullptr) start(call_);
  }

  /// The same, and what it does now is the work of the call `name`.
  void nextAs(const char* name) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (call_ != nullptr) start(name);
  }

  /// The call has returned. False once the exchange was given up: what the call says does not count.
  bool end() EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    call_ = nullptr;
    return !givenUp_;
  }

  /// No step is too long before this moment.
  Clock::time_point lookAgainAt() const EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    return call_ != nullptr ? end_ : Clock::now() + limit_;
  }

  /// Gives the exchange up when its step lasts too long, and returns the name of the call; null otherwise.
  const char* giveUpOverdue() EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (call_ == nullptr || Clock::now() < end_) return nullptr;
    givenUp_ = true;
    return call_;
  }

 private:
  void start(const char* name) REQUIRES(mutex_) {
    call_ = name;
    end_ = Clock::now() + limit_;
  }

  const Clock::duration limit_;
  mutable Mutex mutex_;
  const char* call_ GUARDED_BY(mutex_) = nullptr;  // null while none runs
  Clock::time_point end_ GUARDED_BY(mutex_);
  bool givenUp_ GUARDED_BY(mutex_) = false;
};

}  // namespace korvel

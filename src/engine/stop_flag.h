// The engine's own stop: set once, never cleared, and able to wake every thread that sleeps on it.
// Thread-safe.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/unique_resource.h"

namespace korvel::svc {

class StopFlag {
 public:
  /// Throws std::system_error when the system has no event to give.
  StopFlag();

  /// Sets the flag and wakes the sleepers; returns whether it was set before.
  bool exchangeSet();
  bool isSet() const { return set_.load(); }

  /// Sleeps, but not past the stop. True once the flag is set.
  bool sleep(uint32_t milliseconds) const;

  /// For waits on several objects: signalled for good once the flag is set. Owned here.
  HANDLE event() const { return event_.get(); }
  /// For those who only poll.
  const std::atomic<bool>& flag() const { return set_; }

 private:
  std::atomic<bool> set_{false};
  UniqueHandle event_;
};

}  // namespace korvel::svc

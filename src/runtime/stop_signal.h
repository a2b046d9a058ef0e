// The process-wide stop: a flag that is set once and never reset, a manual-reset event that ends every
// blocking pipe wait, and a stop token for work that must end before the engine's own stop. Stops are
// requested by console events, the service's control handler and the pipe's stop request.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/mutex.h"
#include "base/stop.h"
#include "base/unique_resource.h"

namespace korvel {

class StopSignal {
 public:
  /// The one signal of this process.
  static StopSignal& process();

  /// Creates the event, not signalled. False when that fails.
  bool createEvent() EXCLUDES(mutex_);
  void closeEvent() EXCLUDES(mutex_);

  /// Sets the flag, then signals the event if it exists, then stops the token. May be called from any thread,
  /// any number of times.
  void requestStop() EXCLUDES(mutex_);

  bool requested() const { return stopRequested_.load() != 0; }
  StopToken token() const { return source_.get_token(); }

  /// The event to wait on; still owned by this object. Null before createEvent() and after closeEvent(). Only
  /// the thread that creates and closes the event may wait on it.
  HANDLE event() const EXCLUDES(mutex_);

 private:
  std::atomic<uint32_t> stopRequested_{0};
  StopSource source_;
  // Keeps closeEvent() out while the event is signalled: a closed handle may be reused for another object.
  mutable Mutex mutex_;
  UniqueHandle stopEvent_ GUARDED_BY(mutex_);
};

}  // namespace korvel

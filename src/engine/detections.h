// Detections outside a scan that wait for a client to take them. Thread-safe.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "base/mutex.h"
#include "records/threat_record.h"

namespace korvel::svc {

class Detections {
 public:
  void add(ThreatEvent event) EXCLUDES(mutex_);
  /// Hands out everything that waits, in order of detection, and keeps nothing.
  std::vector<ThreatEvent> take() EXCLUDES(mutex_);
  /// Lends everything that waits to `deliver` in `events`. It returns how many of the first have reached a
  /// client; the others wait on, as all do when it throws.
  void handOut(std::vector<ThreatEvent>& events, const std::function<size_t()>& deliver) EXCLUDES(mutex_);
  /// Puts the events from index `first` on, which a client could not take, back in front of those that wait.
  void putBack(std::vector<ThreatEvent> events, size_t first) EXCLUDES(mutex_);

 private:
  mutable Mutex mutex_;  // held only to change the list
  std::vector<ThreatEvent> events_ GUARDED_BY(mutex_);
};

}  // namespace korvel::svc

#include "engine/detections.h"

#include <cstddef>
#include <iterator>
#include <utility>

namespace korvel::svc {

void Detections::add(ThreatEvent event) {
  const MutexLock lock(mutex_);
  events_.push_back(std::move(event));
}

std::vector<ThreatEvent> Detections::take() {
  std::vector<ThreatEvent> taken;
  const MutexLock lock(mutex_);
  taken.swap(events_);
  return taken;
}

void Detections::putBack(std::vector<ThreatEvent> events, size_t first) {
  if (first >= events.size()) return;
  const auto begin = events.begin() + static_cast<ptrdiff_t>(first);
  const MutexLock lock(mutex_);
  events_.insert(events_.begin(), std::make_move_iterator(begin), std::make_move_iterator(events.end()));
}

}  // namespace korvel::svc

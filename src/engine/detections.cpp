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

void Detections::handOut(std::vector<ThreatEvent>& events, const std::function<size_t()>& deliver) {
  events = take();
  size_t delivered = 0;
  try {
    delivered = deliver();
  } catch (...) {
    putBack(std::move(events), 0);
    throw;
  }
  putBack(std::move(events), delivered);
}

void Detections::putBack(std::vector<ThreatEvent> events, size_t first) {
  if (first >= events.size()) return;
  events.erase(events.begin(), events.begin() + static_cast<ptrdiff_t>(first));
  const MutexLock lock(mutex_);
  // What came meanwhile goes behind them. Where nothing came this needs no memory, which may be short here.
  events.insert(events.end(), std::make_move_iterator(events_.begin()),
                std::make_move_iterator(events_.end()));
  events_.swap(events);
}

}  // namespace korvel::svc

// When a scan may report its progress again. Pure: the caller brings the time.
#pragma once

#include <chrono>

namespace korvel {

/// Reports keep a distance of at least 120 ms from the end of one to the begin of the next. Not thread-safe.
class ReportPace {
 public:
  using Time = std::chrono::steady_clock::time_point;

  static constexpr std::chrono::milliseconds kDistance{120};

  bool due(Time now) const { return now - last_ >= kDistance; }
  void reported(Time now) { last_ = now; }

 private:
  Time last_;
};

}  // namespace korvel

// When a period of about a day is over, by a clock that goes on while the machine sleeps: sleeps and waits of
// threads do not, and a laptop that is open for eight hours would otherwise have a day of three days. Pure:
// the caller gives the time. Not thread-safe.
#pragma once

#include <cstdint>

namespace korvel::svc {

/// Times are milliseconds of one clock that never goes back. Before the first restart() the period has no
/// end.
class DayPeriod {
 public:
  /// How often over() is to be asked at least. Where much more lies between two questions, the machine slept.
  static constexpr uint32_t kLongestLookMs = 60'000;

  /// Lets a period of `lengthMs` begin now.
  void restart(uint64_t nowMs, uint64_t lengthMs);

  /// True once the period is over. One that ends while the machine sleeps is over a minute after it has woken
  /// up, as the first one comes some time after the start: until then there is often no network.
  bool over(uint64_t nowMs);

  /// How long to wait before over() is to be asked again: until the end, but at most kLongestLookMs.
  uint32_t untilNextLook(uint64_t nowMs) const;

 private:
  uint64_t end_ = UINT64_MAX;
  uint64_t lastLook_ = 0;
};

}  // namespace korvel::svc

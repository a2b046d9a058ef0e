// The process-wide stop for tests. Windows only.
#pragma once

#include <memory>
#include <stdexcept>

#include "runtime/stop_signal.h"

namespace korvel::test {

/// Gives a test a new process-wide stop with its event. The product never resets the flag of the stop, but
/// several tests run in one process, so the stop is constructed again in place.
class FreshStopSignal {
 public:
  FreshStopSignal() {
    renew();
    if (!StopSignal::process().createEvent()) throw std::runtime_error("no stop event");
  }
  ~FreshStopSignal() { renew(); }
  FreshStopSignal(const FreshStopSignal&) = delete;
  FreshStopSignal& operator=(const FreshStopSignal&) = delete;

 private:
  static void renew() {
    StopSignal& signal = StopSignal::process();
    std::destroy_at(&signal);
    std::construct_at(&signal);
  }
};

}  // namespace korvel::test

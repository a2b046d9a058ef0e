// The process-wide stop for tests. Windows only.
#pragma once

#include <memory>
#include <stdexcept>

#include "runtime/stop_signal.h"

namespace korvel::test {

/// The process-wide stop, as new for each test and with its event. The flag is never reset, which is right
/// for a process and wrong for a row of tests: it is built anew in place.
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

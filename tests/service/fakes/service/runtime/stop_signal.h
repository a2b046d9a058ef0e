// Stands in for the stop signal where the engine host is compiled for its tests: an event that can be
// refused.
#pragma once

namespace korvel {

class StopSignal {
 public:
  static StopSignal& process() {
    static StopSignal signal;
    return signal;
  }
  bool createEvent() { return exists = !refuses; }
  void closeEvent() { exists = false; }

  bool refuses = false;
  bool exists = false;
};

}  // namespace korvel

// A stop source for a part of a larger job: the part can be stopped alone, and stops with the whole job.
#pragma once

#include "base/stop.h"

namespace korvel {

/// Stops on request(), or when `outer` stops. Thread-safe.
class LinkedStop {
 public:
  explicit LinkedStop(const StopToken& outer) : link_(outer, [this] { own_.request_stop(); }) {}
  LinkedStop(const LinkedStop&) = delete;
  LinkedStop& operator=(const LinkedStop&) = delete;

  void request() { own_.request_stop(); }
  StopToken token() const { return own_.get_token(); }

 private:
  StopSource own_;
  StopCallback link_;
};

}  // namespace korvel

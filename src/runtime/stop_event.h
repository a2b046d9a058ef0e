// Makes a stop token usable by threads that wait for kernel objects.
#pragma once

#include <cstdint>
#include <functional>

#include "base/stop.h"
#include "base/unique_resource.h"

namespace korvel {

/// A manual-reset event that is signalled, and stays so, once a token's stop is requested. Thread-safe.
class StopEvent {
 public:
  /// Throws std::system_error when the event cannot be created.
  explicit StopEvent(StopToken token);
  StopEvent(const StopEvent&) = delete;
  StopEvent& operator=(const StopEvent&) = delete;

  const StopToken& token() const { return token_; }
  bool requested() const { return token_.stop_requested(); }

  /// Sleeps until the time is over or the stop is requested. True when the stop is requested.
  bool sleep(uint32_t milliseconds) const;

  /// For waits on several objects. Still owned by this object.
  HANDLE handle() const { return event_.get(); }

 private:
  const StopToken token_;
  UniqueHandle event_;
  StopCallback signal_;
};

}  // namespace korvel

// A stop source for a part of a larger job: the part can be stopped alone, and stops with the whole job.
#pragma once

#include <functional>
#include <stop_token>
#include <utility>

namespace korvel {

/// Stops on request(), or when `outer` stops. Thread-safe.
class LinkedStop {
 public:
  explicit LinkedStop(std::stop_token outer) : link_(std::move(outer), [this] { own_.request_stop(); }) {}
  LinkedStop(const LinkedStop&) = delete;
  LinkedStop& operator=(const LinkedStop&) = delete;

  void request() { own_.request_stop(); }
  std::stop_token token() const { return own_.get_token(); }

 private:
  std::stop_source own_;
  std::stop_callback<std::function<void()>> link_;
};

}  // namespace korvel

// A stop inside a stop: a part of the work can be ended by itself, and ends with the whole.
#pragma once

#include <functional>
#include <stop_token>
#include <utility>

namespace korvel {

/// Stops when it is told to, and when `outer` does. Thread-safe.
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

// Cooperative stops, with the meaning of std::stop_source, std::stop_token and std::stop_callback.
//
// Not those, because the toolchain's library waits for a running callback with a semaphore whose wake-up can
// be lost, and then a thread that is about to end hangs for ever. Pure; thread-safe.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "base/mutex.h"

namespace korvel {

class StopCallback;

namespace detail {

/// What a source, its tokens and their callbacks share.
class StopState {
 public:
  bool requested() const { return requested_.load(); }
  bool request() EXCLUDES(mutex_);
  /// False once the stop is requested; the caller then runs the callback itself.
  bool add(StopCallback& callback) EXCLUDES(mutex_);
  /// Waits while another thread runs the callback.
  void remove(StopCallback& callback) EXCLUDES(mutex_);

 private:
  std::atomic<bool> requested_{false};
  Mutex mutex_;
  ConditionVariable callbackEnded_;
  StopCallback* first_ GUARDED_BY(mutex_) = nullptr;  // a list through StopCallback::next_ and previous_
  const StopCallback* running_ GUARDED_BY(mutex_) = nullptr;
  std::thread::id requester_ GUARDED_BY(mutex_);
};

}  // namespace detail

/// Says whether a stop is requested. A token without a source never stops.
class StopToken {
 public:
  StopToken() = default;
  bool stop_requested() const { return state_ && state_->requested(); }

 private:
  friend class StopCallback;
  friend class StopSource;
  explicit StopToken(std::shared_ptr<detail::StopState> state) : state_(std::move(state)) {}

  std::shared_ptr<detail::StopState> state_;
};

class StopSource {
 public:
  /// Runs the callbacks on this thread, one after another. False when the stop was requested before.
  bool request_stop() {
    const std::shared_ptr<detail::StopState> state = state_;  // a callback may destroy the source
    return state->request();
  }
  bool stop_requested() const { return state_->requested(); }
  StopToken get_token() const { return StopToken(state_); }

 private:
  std::shared_ptr<detail::StopState> state_ = std::make_shared<detail::StopState>();
};

/// Runs `action` once when the stop is requested: on the requesting thread, or at once on this one when it
/// was requested before. The destructor waits for an action that runs on another thread. The action must not
/// throw.
class StopCallback {
 public:
  StopCallback(const StopToken& token, std::function<void()> action)
      : state_(token.state_), action_(std::move(action)) {
    if (state_ && !state_->add(*this)) {
      state_.reset();
      action_();
    }
  }
  ~StopCallback() {
    if (state_) state_->remove(*this);
  }
  StopCallback(const StopCallback&) = delete;
  StopCallback& operator=(const StopCallback&) = delete;

 private:
  friend class detail::StopState;

  std::shared_ptr<detail::StopState> state_;
  const std::function<void()> action_;
  // The list of the state, guarded by its mutex.
  StopCallback* next_ = nullptr;
  StopCallback* previous_ = nullptr;
  bool listed_ = false;
};

}  // namespace korvel

#include "base/stop.h"

namespace korvel::detail {

bool StopState::request() {
  mutex_.lock();
  if (requested_.exchange(true)) {
    mutex_.unlock();
    return false;
  }
  requester_ = std::this_thread::get_id();
  while (first_ != nullptr) {
    StopCallback* const callback = first_;
    first_ = callback->next_;
    if (first_ != nullptr) first_->previous_ = nullptr;
    callback->listed_ = false;
    running_ = callback;
    mutex_.unlock();  // other callbacks may come and go meanwhile
    callback->action_();
    mutex_.lock();
    running_ = nullptr;  // the callback may be gone: its own action may destroy it
    callbackEnded_.notifyAll();
  }
  mutex_.unlock();
  return true;
}

bool StopState::add(StopCallback& callback) {
  const MutexLock lock(mutex_);
  if (requested_.load()) return false;
  callback.next_ = first_;
  if (first_ != nullptr) first_->previous_ = &callback;
  first_ = &callback;
  callback.listed_ = true;
  return true;
}

void StopState::remove(StopCallback& callback) {
  const MutexLock lock(mutex_);
  if (callback.listed_) {
    (callback.previous_ != nullptr ? callback.previous_->next_ : first_) = callback.next_;
    if (callback.next_ != nullptr) callback.next_->previous_ = callback.previous_;
    return;
  }
  while (running_ == &callback && requester_ != std::this_thread::get_id()) callbackEnded_.wait(mutex_);
}

}  // namespace korvel::detail

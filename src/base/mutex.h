// std::mutex and std::condition_variable with the annotations that clang's thread-safety analysis needs; GCC
// ignores them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define KORVEL_ANNOTATION(x) __attribute__((x))
#else
#define KORVEL_ANNOTATION(x)
#endif
#define CAPABILITY(x) KORVEL_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY KORVEL_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) KORVEL_ANNOTATION(guarded_by(x))
#define REQUIRES(...) KORVEL_ANNOTATION(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) KORVEL_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) KORVEL_ANNOTATION(release_capability(__VA_ARGS__))
#define EXCLUDES(...) KORVEL_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace korvel {

class CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }

 private:
  friend class ConditionVariable;
  std::mutex mutex_;
};

class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

/// Wait in a loop that tests the condition: wake-ups may be spurious.
class ConditionVariable {
 public:
  /// Releases `mutex` while waiting for a notification.
  void wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    (void)lock.release();  // the caller still holds the mutex
  }
  /// The same, but not beyond `time`.
  void waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point time) REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    (void)condition_.wait_until(lock, time);  // the caller looks for itself what is true
    (void)lock.release();
  }
  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace korvel

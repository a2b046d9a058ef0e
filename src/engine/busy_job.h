// Runs a job on a thread of its own, at most one at a time, and keeps its failure text until the next launch.
// Thread-safe, except that join() and destruction must not race a launch().
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "base/mutex.h"

namespace korvel::svc {

class BusyJob {
 public:
  /// Returns whether the job succeeded; on failure it stores a text. Exceptions count as failures.
  using Job = std::function<bool(std::string* error)>;

  BusyJob() = default;
  ~BusyJob() { join(); }
  BusyJob(const BusyJob&) = delete;
  BusyJob& operator=(const BusyJob&) = delete;

  /// Starts `job`, or refuses with a text while the previous one runs. `prepare` runs first, on the caller's
  /// thread, once the launch is accepted. Throws std::system_error when no thread can be made; the job then
  /// does not count as running.
  bool launch(const std::function<void()>& prepare, Job job, std::string* error) EXCLUDES(mutex_);

  bool busy() const { return busy_.load(); }
  /// The text of the last run's failure; empty while it runs and after success.
  std::string lastError() const EXCLUDES(mutex_);
  /// Waits for the running job, if any.
  void join();

 private:
  void run(const Job& job) EXCLUDES(mutex_);
  void runNoting(const Job& job) EXCLUDES(mutex_);
  void setLastError(std::string text) EXCLUDES(mutex_);

  std::atomic<bool> busy_{false};
  std::thread thread_;  // used only by the launch() that set busy_, and by join()
  mutable Mutex mutex_;
  std::string lastError_ GUARDED_BY(mutex_);
};

}  // namespace korvel::svc

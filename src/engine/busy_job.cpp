#include "engine/busy_job.h"

#include <exception>
#include <utility>

#include "base/error.h"

namespace korvel::svc {

bool BusyJob::launch(const std::function<void()>& prepare, Job job, std::string* error) {
  if (busy_.exchange(true)) return fail(error, "обновление уже выполняется");
  try {
    setLastError({});
    prepare();
    join();  // the previous run cleared busy_ as its last act, so this does not wait
    thread_ = std::thread([this, work = std::move(job)] { run(work); });
  } catch (...) {
    busy_.store(false);
    throw;
  }
  return true;
}

void BusyJob::runNoting(const Job& job) {
  std::string text;
  bool done = false;
  try {
    done = job(&text);
  } catch (const std::exception& exception) {
    text = exception.what();
  }
  if (!done) setLastError(std::move(text));
}

std::string BusyJob::lastError() const {
  const MutexLock lock(mutex_);
  return lastError_;
}

void BusyJob::join() {
  if (thread_.joinable()) thread_.join();
}

void BusyJob::run(const Job& job) {
  try {
    runNoting(job);
  } catch (const std::exception&) {
    // no memory for the text of the failure
  }
  busy_.store(false);  // last: the outcome is stored before the job counts as ended
}

void BusyJob::setLastError(std::string text) {
  const MutexLock lock(mutex_);
  lastError_ = std::move(text);
}

}  // namespace korvel::svc

#include "engine/scan_canceller.h"

#include <chrono>

#include "scan/file_scanner.h"

namespace korvel::svc {
namespace {

constexpr std::chrono::milliseconds kPollInterval{100};

}  // namespace

ScanCanceller::ScanCanceller(FileScanner& scanner, const std::atomic<bool>& cancelRequested,
                             const std::atomic<bool>& stopping)
    : scanner_(scanner),
      cancelRequested_(cancelRequested),
      stopping_(stopping),
      thread_([this] { loop(); }) {}

ScanCanceller::~ScanCanceller() {
  {
    const std::lock_guard lock(mutex_);
    done_ = true;
  }
  ended_.notify_one();
  thread_.join();
}

void ScanCanceller::watchCancelRequests() {
  if (!cancelRequested_.load()) watching_.store(true);
}

void ScanCanceller::loop() {
  std::unique_lock lock(mutex_);
  while (!done_) {
    // Asked again at every look: the scanner forgets what was asked before its scan began.
    if (stopping_.load() || (watching_.load() && cancelRequested_.load())) scanner_.cancel();
    ended_.wait_for(lock, kPollInterval, [this] { return done_; });
  }
}

}  // namespace korvel::svc

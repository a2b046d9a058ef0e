// Passes the engine's cancel and stop flags on to a running file scanner.
#pragma once

#include <atomic>
#include <condition_variable>
#include <thread>

#include "base/mutex.h"

namespace korvel {
class FileScanner;
}

namespace korvel::svc {

/// Runs one thread from construction to destruction, which looks at the flags every 100 ms. The stop flag
/// counts from the start; the cancel flag only once watchCancelRequests() has been called.
class ScanCanceller {
 public:
  ScanCanceller(FileScanner& scanner, const std::atomic<bool>& cancelRequested,
                const std::atomic<bool>& stopping);
  ~ScanCanceller();
  ScanCanceller(const ScanCanceller&) = delete;
  ScanCanceller& operator=(const ScanCanceller&) = delete;

  /// From now on a cancel request ends the scan. One that is already there is too early and is lost: it came
  /// before there was a scan to cancel.
  void watchCancelRequests();

 private:
  void loop();

  FileScanner& scanner_;
  const std::atomic<bool>& cancelRequested_;
  const std::atomic<bool>& stopping_;
  std::atomic<bool> watching_{false};
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace korvel::svc

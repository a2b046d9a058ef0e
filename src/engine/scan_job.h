// The on-demand scan: guards, then one thread that counts, scans and records the outcome. At most one scan
// runs at a time. Thread-safe, except that join() must not race a start().
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "base/stop.h"
#include "engine/scan_state.h"
#include "records/scan_progress.h"
#include "records/scan_scope.h"
#include "records/threat_record.h"
#include "scan/file_calls.h"
#include "scan/scan_cache.h"
#include "scan/scan_records.h"

namespace korvel {
class FileScanner;
}

namespace korvel::svc {

class SettingsInForce;
class SignaturesInForce;

class ScanJob {
 public:
  /// `settings` and `signatures` must outlive the job. Once `stop` is requested, a running scan ends in the
  /// middle of a file and no other begins.
  /// `calls` must outlive it too.
  ScanJob(SettingsInForce& settings, const SignaturesInForce& signatures, StopToken stop,
          const FileCalls& calls = FileCalls::windows())
      : settings_(settings), signatures_(signatures), stop_(std::move(stop)), calls_(calls) {}
  ~ScanJob() { join(); }
  ScanJob(const ScanJob&) = delete;
  ScanJob& operator=(const ScanJob&) = delete;

  /// Reads the scan cache that earlier scans have saved. Call once, before the first start().
  void loadCache();

  /// Refuses with a text while the service stops, while protection is off, and while a scan runs. Throws
  /// std::system_error when no thread can be made; no scan counts as running then.
  bool start(ScanScope scope, const std::vector<std::wstring>& paths, std::string* error)
      EXCLUDES(threadMutex_) {
    return start({scope, paths, /*inBackground=*/false}, error);
  }
  /// The scan that nobody has asked for: a quick one, which makes way for every other program.
  bool startScheduled(std::string* error) EXCLUDES(threadMutex_) {
    return start({ScanScope::kQuick, {}, /*inBackground=*/true}, error);
  }
  /// Asks the running scan to end after the current file; returns whether that had been asked before. A
  /// request that comes before the scanning phase is lost, and so are all later ones for that scan: clients
  /// rely on it.
  bool cancel() { return state_.cancel(); }
  /// Waits for the running scan, if any.
  void join() EXCLUDES(threadMutex_);

  bool running() const { return state_.running(); }
  /// The state at one moment, without events. A report whose scan has ended also has its outcome.
  ScanReport report() const { return state_.report(); }
  /// The detections of the current or last scan, in order.
  std::vector<ThreatRecord> results() const { return state_.results(); }

 private:
  using Clock = std::chrono::steady_clock;
  struct Order {
    ScanScope scope;
    std::vector<std::wstring> paths;
    bool inBackground;
  };

  bool stopping() const;
  bool start(const Order& order, std::string* error) EXCLUDES(threadMutex_);
  bool startThread(const Order& order) EXCLUDES(threadMutex_);
  void run(const Order& order);
  void scanTargets(const std::vector<ScanTarget>& targets, bool inBackground, Clock::time_point began);
  ScanSummary countAndScan(FileScanner& scanner, const std::vector<ScanTarget>& targets);
  void finish(const ScanSummary& summary, Clock::time_point began);
  void takeVerdict(const FileVerdict& verdict);

  SettingsInForce& settings_;
  const SignaturesInForce& signatures_;
  const StopToken stop_;
  const FileCalls& calls_;
  // These synchronise themselves.
  ScanCache cache_;
  ScanState state_;

  Mutex threadMutex_;
  std::thread thread_ GUARDED_BY(threadMutex_);
};

}  // namespace korvel::svc

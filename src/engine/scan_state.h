// What the current or last scan has come to, and who may begin, cancel and end one: the decisions of ScanJob,
// without its thread and its files. Pure; thread-safe.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "records/scan_progress.h"
#include "records/threat_record.h"

namespace korvel::svc {

class ScanState {
 public:
  /// Lets a scan begin, with an empty outcome; it counts as running until end(). Refuses with a text while
  /// the service stops, while protection is off, and while a scan runs.
  bool begin(bool stopping, bool protectionEnabled, std::string* error) EXCLUDES(mutex_);
  /// The last act of a scan that begin() has allowed: its outcome is stored by then.
  void end() { running_.store(false); }
  bool running() const { return running_.load(); }

  /// Asks the running scan to end; returns whether that had been asked before. A request that comes before
  /// becomeCancellable() is lost, and so are all later ones for that scan: clients rely on it.
  bool cancel() EXCLUDES(mutex_);
  /// From now on cancel() calls `cancelScan`, under the lock, until notCancellable().
  void becomeCancellable(std::function<void()> cancelScan) EXCLUDES(mutex_);
  void notCancellable() EXCLUDES(mutex_);

  void setPhase(const wchar_t* phase) EXCLUDES(mutex_);
  /// The record of the counting pass.
  void showCounted(const ScanProgressInfo& counted) EXCLUDES(mutex_);
  /// What the scan has done so far; the totals of the counting pass stay.
  void showProgress(const ScanProgressInfo& info) EXCLUDES(mutex_);
  void addResult(ThreatRecord record) EXCLUDES(mutex_);

  /// The outcome of a scan that was carried out. It counts as cancelled even when it ran to its end: clients
  /// rely on it.
  void finish(const ScanSummary& summary, uint64_t elapsedMs) EXCLUDES(mutex_);
  /// The outcome of one that was not.
  void endEarly(const wchar_t* phase, bool cancelled) EXCLUDES(mutex_);

  /// The state at one moment, without events. A report whose scan has ended also has its outcome.
  ScanReport report() const EXCLUDES(mutex_);
  /// The detections of the current or last scan, in order.
  std::vector<ThreatRecord> results() const EXCLUDES(mutex_);

 private:
  void forgetLastScan() EXCLUDES(mutex_);

  std::atomic<bool> running_{false};  // exchanged, so that "already running" needs no lock

  mutable Mutex mutex_;  // held only to copy or change what follows, and over the call of cancelScan_
  ScanProgressInfo progress_ GUARDED_BY(mutex_);
  ScanSummary lastSummary_ GUARDED_BY(mutex_);
  std::vector<ThreatRecord> results_ GUARDED_BY(mutex_);
  bool cancelRequested_ GUARDED_BY(mutex_) = false;
  std::function<void()> cancelScan_ GUARDED_BY(mutex_);  // empty while no scan can be cancelled
};

}  // namespace korvel::svc

#include "engine/scan_state.h"

#include <utility>

#include "base/error.h"

namespace korvel::svc {

bool ScanState::begin(bool stopping, bool protectionEnabled, std::string* error) {
  if (stopping) return fail(error, "service is stopping");
  if (!protectionEnabled) return fail(error, "protection is disabled");
  if (running_.exchange(true)) return fail(error, "a scan is already running");
  try {
    forgetLastScan();
  } catch (...) {
    end();
    throw;
  }
  return true;
}

void ScanState::forgetLastScan() {
  const MutexLock lock(mutex_);
  cancelRequested_ = false;
  progress_ = {};
  progress_.phase = scan_phase::kPreparing;
  lastSummary_ = {};
  results_.clear();
}

bool ScanState::cancel() {
  const MutexLock lock(mutex_);
  if (cancelScan_) cancelScan_();
  return std::exchange(cancelRequested_, true);
}

/// A cancel that has come already was too early: it is lost, and the scan runs to its end.
void ScanState::becomeCancellable(std::function<void()> cancelScan) {
  const MutexLock lock(mutex_);
  if (!cancelRequested_) cancelScan_ = std::move(cancelScan);
}

void ScanState::notCancellable() {
  const MutexLock lock(mutex_);
  cancelScan_ = nullptr;
}

void ScanState::setPhase(const wchar_t* phase) {
  const MutexLock lock(mutex_);
  progress_.phase = phase;
}

void ScanState::showCounted(const ScanProgressInfo& counted) {
  const MutexLock lock(mutex_);
  progress_ = counted;
}

void ScanState::showProgress(const ScanProgressInfo& info) {
  const MutexLock lock(mutex_);
  progress_.filesDone = info.filesDone;
  progress_.bytesDone = info.bytesDone;
  progress_.currentPath = info.currentPath;
  progress_.phase = info.phase;
}

void ScanState::addResult(ThreatRecord record) {
  const MutexLock lock(mutex_);
  results_.push_back(std::move(record));
}

void ScanState::finish(const ScanSummary& summary, uint64_t elapsedMs) {
  const MutexLock lock(mutex_);
  cancelRequested_ = true;
  lastSummary_ = summary;
  lastSummary_.elapsedMs = elapsedMs;
  lastSummary_.cancelled = true;
  progress_.phase = scan_phase::kCancelled;
}

void ScanState::endEarly(const wchar_t* phase, bool cancelled) {
  const MutexLock lock(mutex_);
  lastSummary_.cancelled = cancelled;
  progress_.phase = phase;
}

ScanReport ScanState::report() const {
  ScanReport report;
  report.scanning = running();  // first: a scan stores its outcome before it counts as ended
  const MutexLock lock(mutex_);
  report.progress = progress_;
  report.lastSummary = lastSummary_;
  return report;
}

std::vector<ThreatRecord> ScanState::results() const {
  const MutexLock lock(mutex_);
  return results_;
}

}  // namespace korvel::svc

#include "engine/scan_job.h"

#include <exception>
#include <utility>

#include "base/clock.h"
#include "base/error.h"
#include "config/data_paths.h"
#include "engine/log_exception.h"
#include "engine/scan_options.h"
#include "engine/settings_in_force.h"
#include "engine/signatures_in_force.h"
#include "engine/threat_naming.h"
#include "runtime/log.h"
#include "runtime/stop_signal.h"
#include "scan/file_scanner.h"
#include "scan/scan_targets.h"

namespace korvel::svc {
namespace {

constexpr char kAborted[] = "scan aborted: ";

std::vector<ScanTarget> targetsOf(ScanScope scope, const std::vector<std::wstring>& paths) {
  switch (scope) {
    case ScanScope::kQuick:
      return quickTargets();
    case ScanScope::kFull:
      return fullTargets();
    case ScanScope::kMemory:
      Log::instance().write(kLogWarning, "memory scan requested but not implemented");
      return {};
    case ScanScope::kCustom:
      break;
  }
  std::vector<ScanTarget> targets;  // also for values outside ScanScope
  targets.reserve(paths.size());
  for (const std::wstring& path : paths) targets.push_back({path, /*recursive=*/true});
  return targets;
}

}  // namespace

void ScanJob::loadCache() {
  (void)cache_.load(scanCachePath());  // there is none before the first scan
}

/// Also true once the process is asked to stop, before the engine is: no new scan begins then.
bool ScanJob::stopping() const { return stop_.stop_requested() || StopSignal::process().requested(); }

bool ScanJob::start(const Order& order, std::string* error) {
  if (stopping()) return fail(error, "service is stopping");
  if (!settings_.get().protectionEnabled) return fail(error, "protection is disabled");
  if (running_.exchange(true)) return fail(error, "a scan is already running");
  try {
    forgetLastScan();
    if (startThread(order)) return true;
  } catch (...) {
    running_.store(false);
    throw;
  }
  running_.store(false);
  return fail(error, "service is stopping");
}

void ScanJob::forgetLastScan() {
  const MutexLock lock(mutex_);
  cancelRequested_ = false;
  progress_ = {};
  progress_.phase = scan_phase::kPreparing;
  lastSummary_ = {};
  results_.clear();
}

/// False once the process is asked to stop.
bool ScanJob::startThread(const Order& order) {
  const MutexLock lock(threadMutex_);
  if (thread_.joinable()) thread_.join();
  // join() takes the same mutex after the stop: either it finds the thread, or this check sees the stop.
  if (stopping()) return false;
  thread_ = std::thread([this, order] { run(order); });
  return true;
}

bool ScanJob::cancel() {
  const MutexLock lock(mutex_);
  if (cancellable_ != nullptr) cancellable_->cancel();
  return std::exchange(cancelRequested_, true);
}

void ScanJob::join() {
  const MutexLock lock(threadMutex_);
  if (thread_.joinable()) thread_.join();
}

ScanReport ScanJob::report() const {
  ScanReport report;
  report.scanning = running();  // first: run() stores the outcome before the scan counts as ended
  const MutexLock lock(mutex_);
  report.progress = progress_;
  report.lastSummary = lastSummary_;
  return report;
}

std::vector<ThreatRecord> ScanJob::results() const {
  const MutexLock lock(mutex_);
  return results_;
}

void ScanJob::run(const Order& order) {
  const Clock::time_point began = Clock::now();
  try {
    const std::vector<ScanTarget> targets = targetsOf(order.scope, order.paths);
    if (targets.empty()) {
      endEarly(scan_phase::kIdle, /*cancelled=*/false);
    } else {
      scanTargets(targets, order.inBackground, began);
    }
  } catch (const std::exception& exception) {
    logException(kLogError, kAborted, exception);
    endEarly(scan_phase::kFailed, /*cancelled=*/true);
  }
  running_.store(false);  // last: the outcome is stored before the scan counts as ended
}

void ScanJob::scanTargets(const std::vector<ScanTarget>& targets, bool inBackground,
                          Clock::time_point began) {
  const SignaturesInForce::Pointer database = signatures_.current();
  if (!database) {
    Log::instance().write(kLogError, std::string(kAborted) + "signature database is not loaded");
    endEarly(scan_phase::kFailed, /*cancelled=*/true);
    return;
  }
  ScanSummary summary;
  try {
    ScanOptions options = scanOptionsFrom(settings_.get());
    options.inBackground = inBackground;
    FileScanner scanner(database, options, stop_, calls_);
    summary = countAndScan(scanner, targets);
  } catch (const std::exception& exception) {
    logException(kLogError, kAborted, exception);
  }
  finish(summary, began);
}

ScanSummary ScanJob::countAndScan(FileScanner& scanner, const std::vector<ScanTarget>& targets) {
  setPhase(scan_phase::kCounting);
  const ScanProgressInfo counted = scanner.measure(targets);
  {
    const MutexLock lock(mutex_);
    progress_ = counted;
  }
  if (stop_.stop_requested()) return {};

  struct NotCancellableAtEnd {
    ScanJob& job;
    ~NotCancellableAtEnd() { job.setCancellable(nullptr); }
  } const atEnd{*this};
  // scan() forgets earlier cancellations, then makes its first report. From that report on a cancel() reaches
  // the scanner, so a client that sees the phase "scanning" can cancel the scan.
  bool begun = false;
  const auto onProgress = [&](const ScanProgressInfo& info) {
    if (!std::exchange(begun, true)) setCancellable(&scanner);
    showProgress(info);
  };
  return scanner.scan(targets, onProgress, [this](const FileVerdict& verdict) { takeVerdict(verdict); });
}

/// A cancel that has come already was too early: it is lost, and the scan runs to its end.
void ScanJob::setCancellable(FileScanner* scanner) {
  const MutexLock lock(mutex_);
  cancellable_ = cancelRequested_ ? nullptr : scanner;
}

void ScanJob::finish(const ScanSummary& summary, Clock::time_point began) {
  const auto elapsedMs = static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began).count());
  (void)cache_.save(scanCachePath());  // a lost cache changes no verdict
  {
    const MutexLock lock(mutex_);
    // Every scan that gets here counts as cancelled, even one that ran to its end: clients rely on it.
    cancelRequested_ = true;
    lastSummary_ = summary;
    lastSummary_.elapsedMs = elapsedMs;
    lastSummary_.cancelled = true;
    progress_.phase = scan_phase::kCancelled;
  }
  settings_.update([&summary, now = unixSecondsNow()](SettingsFields& settings) {
    settings.lastScanUtc = now;
    settings.lastThreatCount = summary.threats;
  });
  settings_.save();
  Log::instance().write(kLogInfo, "scan finished: files=" + std::to_string(summary.filesScanned) +
                                      " threats=" + std::to_string(summary.threats) +
                                      " ms=" + std::to_string(elapsedMs));
}

void ScanJob::endEarly(const wchar_t* phase, bool cancelled) {
  const MutexLock lock(mutex_);
  lastSummary_.cancelled = cancelled;
  progress_.phase = phase;
}

void ScanJob::setPhase(const wchar_t* phase) {
  const MutexLock lock(mutex_);
  progress_.phase = phase;
}

/// The totals of the counting pass stay; the scanner reports only what it has done.
void ScanJob::showProgress(const ScanProgressInfo& info) {
  const MutexLock lock(mutex_);
  progress_.filesDone = info.filesDone;
  progress_.bytesDone = info.bytesDone;
  progress_.currentPath = info.currentPath;
  progress_.phase = info.phase;
}

void ScanJob::takeVerdict(const FileVerdict& verdict) {
  cache_.record(verdict.path, {verdict.size, verdict.lastWriteTime, verdict.severity});
  if (verdict.severity < kSeverityMedium) return;
  ThreatRecord record = makeThreatRecord(verdict);
  const MutexLock lock(mutex_);
  results_.push_back(std::move(record));
}

}  // namespace korvel::svc

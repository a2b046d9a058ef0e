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
  if (!state_.begin(stopping(), settings_.get().protectionEnabled, error)) return false;
  try {
    if (startThread(order)) return true;
  } catch (...) {
    state_.end();
    throw;
  }
  state_.end();
  return fail(error, "service is stopping");
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

void ScanJob::join() {
  const MutexLock lock(threadMutex_);
  if (thread_.joinable()) thread_.join();
}

void ScanJob::run(const Order& order) {
  const Clock::time_point began = Clock::now();
  try {
    const std::vector<ScanTarget> targets = targetsOf(order.scope, order.paths);
    if (targets.empty()) {
      state_.endEarly(scan_phase::kIdle, /*cancelled=*/false);
    } else {
      scanTargets(targets, order.inBackground, began);
    }
  } catch (const std::exception& exception) {
    logException(kLogError, kAborted, exception);
    state_.endEarly(scan_phase::kFailed, /*cancelled=*/true);
  }
  state_.end();
}

void ScanJob::scanTargets(const std::vector<ScanTarget>& targets, bool inBackground,
                          Clock::time_point began) {
  const SignaturesInForce::Pointer database = signatures_.current();
  if (!database) {
    Log::instance().write(kLogError, std::string(kAborted) + "signature database is not loaded");
    state_.endEarly(scan_phase::kFailed, /*cancelled=*/true);
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
  state_.setPhase(scan_phase::kCounting);
  state_.showCounted(scanner.measure(targets));
  if (stop_.stop_requested()) return {};

  struct NotCancellableAtEnd {
    ScanState& state;
    ~NotCancellableAtEnd() { state.notCancellable(); }
  } const atEnd{state_};
  // scan() forgets earlier cancellations, then makes its first report. From that report on a cancel() reaches
  // the scanner, so a client that sees the phase "scanning" can cancel the scan.
  bool begun = false;
  const auto onProgress = [&](const ScanProgressInfo& info) {
    if (!std::exchange(begun, true)) state_.becomeCancellable([&scanner] { scanner.cancel(); });
    state_.showProgress(info);
  };
  return scanner.scan(targets, onProgress, [this](const FileVerdict& verdict) { takeVerdict(verdict); });
}

void ScanJob::finish(const ScanSummary& summary, Clock::time_point began) {
  const auto elapsedMs = static_cast<uint64_t>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - began).count());
  (void)cache_.save(scanCachePath());  // a lost cache changes no verdict
  state_.finish(summary, elapsedMs);
  settings_.update([&summary, now = unixSecondsNow()](SettingsFields& settings) {
    settings.lastScanUtc = now;
    settings.lastThreatCount = summary.threats;
  });
  settings_.save();
  Log::instance().write(kLogInfo, "scan finished: files=" + std::to_string(summary.filesScanned) +
                                      " threats=" + std::to_string(summary.threats) +
                                      " ms=" + std::to_string(elapsedMs));
}

void ScanJob::takeVerdict(const FileVerdict& verdict) {
  cache_.record(verdict.path, {verdict.size, verdict.lastWriteTime, verdict.severity});
  if (verdict.severity < kSeverityMedium) return;
  state_.addResult(makeThreatRecord(verdict));
}

}  // namespace korvel::svc

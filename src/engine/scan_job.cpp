// The on-demand scan: guards, then one thread that counts, scans and records the outcome.
#include <exception>
#include <string>
#include <utility>

#include "base/clock.h"
#include "base/error.h"
#include "config/data_paths.h"
#include "engine/scan_canceller.h"
#include "engine/scan_options.h"
#include "engine/scan_worker.h"
#include "scan/file_scanner.h"
#include "scan/scan_cache.h"
#include "scan/scan_targets.h"
#include "scan/signature_database.h"
#include "service/runtime/log.h"

namespace korvel::svc {
namespace {

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
  std::vector<ScanTarget> targets;  // also for numbers beyond the scopes
  targets.reserve(paths.size());
  for (const std::wstring& path : paths) targets.push_back({path, /*recursive=*/true});
  return targets;
}

}  // namespace

bool ScanWorker::startScan(ScanScope scope, const std::vector<std::wstring>& targets, std::string* error) {
  if (stopping()) return fail(error, "service is stopping");
  if (!getSettings().protectionEnabled) return fail(error, "protection is disabled");
  if (scanning_.exchange(true)) return fail(error, "a scan is already running");
  cancelRequested_.store(false);
  {
    const MutexLock lock(stateMutex_);
    progress_ = {};
    progress_.phase = L"preparing";
    lastSummary_ = {};
    results_.clear();
  }

  const MutexLock lock(threadMutex_);
  if (scanThread_.joinable()) scanThread_.join();
  // stop() joins under the same mutex: past this point it finds the thread, or nothing is started.
  if (stopping()) {
    scanning_.store(false);
    return fail(error, "service is stopping");
  }
  try {
    scanThread_ = std::thread([this, scope, targets] { scanLoop(scope, targets); });
  } catch (...) {
    scanning_.store(false);
    throw;
  }
  return true;
}

bool ScanWorker::cancelScan() { return cancelRequested_.exchange(true); }

void ScanWorker::scanLoop(ScanScope scope, const std::vector<std::wstring>& targets) {
  try {
    runScan(scope, targets);
  } catch (const std::exception& exception) {
    Log::instance().write(kLogError, std::string("scan aborted: ") + exception.what());
    endScanEarly(L"failed", /*cancelled=*/true);
  }
  scanning_.store(false);  // last: whoever sees the scan ended also sees its outcome
}

void ScanWorker::runScan(ScanScope scope, const std::vector<std::wstring>& paths) {
  const auto start = std::chrono::steady_clock::now();
  const Settings settings = getSettings();
  const std::vector<ScanTarget> targets = targetsOf(scope, paths);
  scanning_.store(true);
  if (targets.empty()) {
    endScanEarly(L"idle", /*cancelled=*/false);
    return;
  }
  const std::shared_ptr<const SignatureDatabase> database = currentDatabase();
  if (!database) {
    Log::instance().write(kLogError, "scan aborted: signature database is not loaded");
    endScanEarly(L"failed", /*cancelled=*/true);
    return;
  }

  ScanSummary summary;
  try {
    FileScanner scanner(database, scanOptionsFrom(settings), &stopping_.flag());
    summary = countAndScan(scanner, targets);
  } catch (const std::exception& exception) {
    Log::instance().write(kLogError, std::string("scan aborted: ") + exception.what());
  }
  finishScan(summary, start);
}

ScanSummary ScanWorker::countAndScan(FileScanner& scanner, const std::vector<ScanTarget>& targets) {
  ScanCanceller canceller(scanner, cancelRequested_, stopping_.flag());
  setScanState(L"counting");
  ScanProgressInfo counted = scanner.measure(targets);
  counted.phase = L"scanning";
  canceller.watchCancelRequests();  // first: whoever sees the scan begin can also cancel it
  {
    const MutexLock lock(stateMutex_);
    progress_ = std::move(counted);
  }
  if (stopping_.isSet()) return {};
  return scanner.scan(
      targets, [this](const ScanProgressInfo& info) { showProgress(info); },
      [this](const FileVerdict& verdict) { takeVerdict(verdict); });
}

void ScanWorker::finishScan(const ScanSummary& summary, std::chrono::steady_clock::time_point start) {
  // Every scan that gets here counts as cancelled, also one that ran to its end: clients rely on it.
  cancelRequested_.store(true);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  const auto elapsedMs =
      static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
  const bool cancelled = cancelRequested_.load();

  (void)scanCache_->save(scanCachePath());  // a lost cache costs nothing but itself
  {
    const MutexLock lock(stateMutex_);
    lastSummary_ = summary;
    lastSummary_.elapsedMs = elapsedMs;
    lastSummary_.cancelled = cancelled;
    progress_.phase = cancelled ? L"cancelled" : L"finished";
  }
  const uint64_t now = unixSecondsNow();
  {
    const MutexLock lock(stateMutex_);
    settings_.lastScanUtc = now;
    settings_.lastThreatCount = summary.threats;
  }
  saveSettings();
  Log::instance().write(kLogInfo, "scan finished: files=" + std::to_string(summary.filesScanned) +
                                      " threats=" + std::to_string(summary.threats) +
                                      " ms=" + std::to_string(elapsedMs));
}

void ScanWorker::endScanEarly(const wchar_t* state, bool cancelled) {
  const MutexLock lock(stateMutex_);
  lastSummary_.cancelled = cancelled;
  progress_.phase = state;
}

void ScanWorker::setScanState(const wchar_t* state) {
  const MutexLock lock(stateMutex_);
  progress_.phase = state;
}

/// The totals of the counting pass stay; the scanner reports only what it has done.
void ScanWorker::showProgress(const ScanProgressInfo& info) {
  const MutexLock lock(stateMutex_);
  progress_.filesDone = info.filesDone;
  progress_.bytesDone = info.bytesDone;
  progress_.currentPath = info.currentPath;
  progress_.phase = info.phase;
}

void ScanWorker::takeVerdict(const FileVerdict& verdict) {
  scanCache_->record(verdict.path, {verdict.size, verdict.lastWriteTime, verdict.severity});
  if (verdict.severity >= kSeverityMedium) recordThreat(verdict, /*pending=*/false);
}

}  // namespace korvel::svc

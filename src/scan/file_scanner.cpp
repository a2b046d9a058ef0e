#include "scan/file_scanner.h"

#include <chrono>
#include <utility>

#include "scan/directory_walk.h"
#include "scan/scan_filter.h"

namespace korvel {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int64_t kProgressIntervalMs = 120;

int64_t wholeMilliseconds(Clock::duration duration) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

}  // namespace

/// The progress record of one scan and the throttle of its reports.
class FileScanner::Progress {
 public:
  explicit Progress(const ProgressCallback& callback) : callback_(callback) { record_.phase = L"scanning"; }

  void startFile(const std::wstring& path) { record_.currentPath = path; }
  void finishFile(uint64_t size) {
    record_.filesDone += 1;
    record_.bytesDone += size;
  }
  void setPhase(const wchar_t* phase) { record_.phase = phase; }

  void report() {
    if (callback_ && wholeMilliseconds(Clock::now() - lastReport_) >= kProgressIntervalMs) forceReport();
  }
  void forceReport() {
    if (!callback_) return;
    callback_(record_);
    lastReport_ = Clock::now();
  }

 private:
  const ProgressCallback& callback_;
  ScanProgressInfo record_;
  Clock::time_point lastReport_;
};

FileScanner::FileScanner(std::shared_ptr<const SignatureDatabase> database, const ScanOptions& options)
    : context_{std::move(database), options.maxFileSize, options.readChunk}, options_(options) {}

ScanProgressInfo FileScanner::measure(const std::vector<ScanTarget>& targets) const {
  ScanProgressInfo result;
  result.phase = L"counting";
  WalkedFile file;
  for (const ScanTarget& target : targets) {
    DirectoryWalk walk(target, options_.followSymlinks, cancelRequested_);
    while (walk.next(file)) {
      if (!shouldScan(file.path, options_)) continue;
      result.filesTotal += 1;
      result.bytesTotal += file.size;
    }
  }
  return result;
}

ScanSummary FileScanner::scan(const std::vector<ScanTarget>& targets, const ProgressCallback& onProgress,
                              const VerdictCallback& onVerdict) {
  const Clock::time_point start = Clock::now();
  cancelRequested_.exchange(false);
  ScanSummary summary;
  Progress progress(onProgress);
  progress.forceReport();
  for (const ScanTarget& target : targets) {
    if (cancelRequested_.load()) break;
    scanTarget(target, progress, summary, onVerdict);
  }
  progress.setPhase(L"finishing");
  progress.forceReport();
  summary.cancelled = cancelRequested_.load();
  summary.elapsedMs = static_cast<uint64_t>(wholeMilliseconds(Clock::now() - start));
  return summary;
}

void FileScanner::scanTarget(const ScanTarget& target, Progress& progress, ScanSummary& summary,
                             const VerdictCallback& onVerdict) {
  DirectoryWalk walk(target, options_.followSymlinks, cancelRequested_);
  WalkedFile file;
  while (walk.next(file)) {
    if (cancelRequested_.load() || !shouldScan(file.path, options_)) continue;
    progress.startFile(file.path);
    const FileVerdict verdict = scanSingleFile(file.path);
    progress.finishFile(verdict.size);
    addToSummary(verdict, summary);
    progress.report();
    if (onVerdict) onVerdict(verdict);
  }
}

FileVerdict FileScanner::scanSingleFile(const std::wstring& path) { return scanFile(context_, path, scratch_); }

}  // namespace korvel

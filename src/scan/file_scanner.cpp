#include "scan/file_scanner.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <optional>
#include <utility>

#include "base/sizes.h"
#include "base/win.h"
#include "scan/directory_walk.h"
#include "scan/report_pace.h"
#include "scan/run_ahead.h"
#include "scan/scan_filter.h"

namespace korvel {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMostWorkers = 4;
// A large file counts for at most this much of the pipeline's window, so that two of them may overlap.
constexpr uint64_t kHeaviestFile = 16 * kMiB;

int64_t wholeMilliseconds(Clock::duration duration) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

size_t workersByProcessors() {
  DWORD_PTR process = 0;
  DWORD_PTR system = 0;
  if (!::GetProcessAffinityMask(::GetCurrentProcess(), &process, &system)) return 0;
  const auto processors = static_cast<size_t>(std::popcount(static_cast<uint64_t>(process)));
  return processors > 1 ? std::min(processors, kMostWorkers) : 0;
}

struct RequestAtEnd {
  LinkedStop& stop;
  ~RequestAtEnd() { stop.request(); }
};

}  // namespace

/// Handles each verdict on the scanning thread: counters, throttled progress, callback.
class FileScanner::Delivery {
 public:
  Delivery(const ProgressCallback& onProgress, const VerdictCallback& onVerdict)
      : onProgress_(onProgress), onVerdict_(onVerdict) {
    record_.phase = scan_phase::kScanning;
  }

  void deliver(const FileVerdict& verdict) {
    record_.currentPath = verdict.path;
    record_.filesDone += 1;
    record_.bytesDone += verdict.size;
    addToSummary(verdict, summary_);
    if (pace_.due(Clock::now())) report();
    if (onVerdict_) onVerdict_(verdict);
  }
  void setPhase(const wchar_t* phase) { record_.phase = phase; }
  void report() {
    if (onProgress_) onProgress_(record_);
    pace_.reported(Clock::now());
  }
  const ScanSummary& summary() const { return summary_; }

 private:
  const ProgressCallback& onProgress_;
  const VerdictCallback& onVerdict_;
  ScanProgressInfo record_;
  ScanSummary summary_;
  ReportPace pace_;
};

/// The files of all targets that pass the filter, in walk order, until the walk ends or is cancelled. One
/// step looks at one directory entry, so that a long way to the next file holds nothing up.
class FileScanner::FileSource {
 public:
  FileSource(const std::vector<ScanTarget>& targets, const ScanOptions& options, StopToken cancelled,
             const FileCalls& calls)
      : targets_(targets), options_(options), cancelled_(std::move(cancelled)), calls_(calls) {}

  Supply step(WalkedFile& file) {
    if (cancelled_.stop_requested()) return Supply::kEnd;
    if (!walk_) {
      if (nextTarget_ == targets_.size()) return Supply::kEnd;
      walk_.emplace(targets_[nextTarget_++], options_.followSymlinks, cancelled_, calls_);
    }
    const Supply found = walk_->step(file);
    if (found == Supply::kItem && shouldScan(file.path, options_)) return Supply::kItem;
    if (found == Supply::kEnd) walk_.reset();
    return Supply::kNothing;
  }
  /// The next file; false at the end.
  bool next(WalkedFile& file) {
    Supply found = step(file);
    while (found == Supply::kNothing) found = step(file);
    return found == Supply::kItem;
  }

 private:
  const std::vector<ScanTarget>& targets_;
  const ScanOptions& options_;
  const StopToken cancelled_;
  const FileCalls& calls_;
  size_t nextTarget_ = 0;
  std::optional<DirectoryWalk> walk_;
};

FileScanner::FileScanner(std::shared_ptr<const SignatureDatabase> database, const ScanOptions& options,
                         const StopToken& stop, const FileCalls& calls)
    : context_{std::move(database), options.maxFileSize, options.readChunk, stop, &calls}, options_(options) {
  cancel_.emplace(stop);
}

void FileScanner::cancel() {
  const MutexLock lock(mutex_);
  cancel_->request();
}

StopToken FileScanner::cancelToken() const {
  const MutexLock lock(mutex_);
  return cancel_->token();
}

StopToken FileScanner::forgetCancel() {
  const MutexLock lock(mutex_);
  cancel_.emplace(context_.abandoned);
  return cancel_->token();
}

ScanProgressInfo FileScanner::measure(const std::vector<ScanTarget>& targets) const {
  ScanProgressInfo result;
  result.phase = scan_phase::kCounting;
  FileSource source(targets, options_, cancelToken(), *context_.calls);
  for (WalkedFile file; source.next(file);) {
    result.filesTotal += 1;
    result.bytesTotal += file.size;
  }
  return result;
}

ScanSummary FileScanner::scan(const std::vector<ScanTarget>& targets, const ProgressCallback& onProgress,
                              const VerdictCallback& onVerdict) {
  const Clock::time_point start = Clock::now();
  const StopToken cancelled = forgetCancel();
  Delivery delivery(onProgress, onVerdict);
  delivery.report();

  FileSource source(targets, options_, cancelled, *context_.calls);
  const size_t workers = options_.workers == kWorkersByProcessors ? workersByProcessors() : options_.workers;
  if (workers == 0) {
    scanInline(source, delivery);
  } else {
    scanAhead(source, delivery, workers, cancelled);
  }

  delivery.setPhase(scan_phase::kFinishing);
  delivery.report();
  ScanSummary summary = delivery.summary();
  summary.cancelled = cancelled.stop_requested();
  summary.elapsedMs = static_cast<uint64_t>(wholeMilliseconds(Clock::now() - start));
  return summary;
}

void FileScanner::scanInline(FileSource& source, Delivery& delivery) {
  for (WalkedFile file; source.next(file);) {
    const FileVerdict verdict = scanFile(context_, file.path, scratch_, file.attributes);
    if (context_.abandoned.stop_requested()) return;
    delivery.deliver(verdict);
  }
}

void FileScanner::scanAhead(FileSource& source, Delivery& delivery, size_t workers,
                            const StopToken& cancelled) {
  // The pipeline's destructor waits for the files being scanned. Their verdicts are no longer needed, so this
  // stop ends the reading.
  LinkedStop discarding(context_.abandoned);
  ScanContext ahead = context_;
  ahead.abandoned = discarding.token();
  // Empty for a file that was not yet begun when the cancellation came, or not finished when the stop came.
  using Scanned = std::optional<FileVerdict>;
  OrderedPipeline<WalkedFile, Scanned> pipeline(workers, [&cancelled, &ahead] {
    return
        [&cancelled, &ahead, scratch = std::make_shared<ScanScratch>()](const WalkedFile& file) -> Scanned {
          if (cancelled.stop_requested()) return std::nullopt;
          FileVerdict verdict = scanFile(ahead, file.path, *scratch, file.attributes);
          if (ahead.abandoned.stop_requested()) return std::nullopt;
          return verdict;
        };
  });
  if (pipeline.workers() == 0) return scanInline(source, delivery);
  const RequestAtEnd discardAtEnd{discarding};

  const auto next = [&source](WalkedFile& file, uint64_t& weight) {
    const Supply found = source.step(file);
    if (found == Supply::kItem) weight = std::min(file.size, kHeaviestFile);
    return found;
  };
  const auto deliver = [&delivery](const Scanned& verdict) {
    if (verdict) delivery.deliver(*verdict);
    return verdict.has_value();
  };
  runAhead(pipeline, next, deliver, cancelled);
}

FileVerdict FileScanner::scanSingleFile(const std::wstring& path) {
  return scanFile(context_, path, scratch_);
}

}  // namespace korvel

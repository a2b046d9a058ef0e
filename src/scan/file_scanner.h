// Walks target directories and counts or scans the files that pass the filter. One scanner serves one job: a
// measure() followed by a scan(), on the caller's thread. cancel() may come from any thread.
//
// Files are read and digested many at a time. With workers that happens ahead of their turn; walk, counters,
// progress and callbacks stay on the caller's thread and in walk order. After a cancellation the finished
// verdicts at the front are still delivered; whatever else was done ahead leaves no trace.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/linked_stop.h"
#include "base/mutex.h"
#include "base/stop.h"
#include "scan/scan_file.h"
#include "scan/scan_records.h"

namespace korvel {

class SignatureDatabase;

class FileScanner {
 public:
  using ProgressCallback = std::function<void(const ScanProgressInfo&)>;
  using VerdictCallback = std::function<void(const FileVerdict&)>;

  /// Once `stop` is requested, a scan ends in the middle of the file being read and delivers nothing of it.
  /// `calls` and `kernels` must outlive the scanner; the latter change no result, and only measurements
  /// choose.
  FileScanner(std::shared_ptr<const SignatureDatabase> database, const ScanOptions& options,
              const StopToken& stop = {}, const FileCalls& calls = FileCalls::windows(),
              std::span<const hash::LaneKernel> kernels = hash::laneKernels());

  /// Counts the files that scan() would scan. Fills only filesTotal, bytesTotal and phase. A cancellation
  /// that was already requested makes it return early; it is not cleared.
  ScanProgressInfo measure(const std::vector<ScanTarget>& targets) const;

  /// Scans every file of the targets in walk order; either callback may be empty and runs on this thread.
  /// Progress is reported at once, then at most every 120 ms, then once at the end ("finishing"). A cancel()
  /// that came before is forgotten. Exceptions of the callbacks pass through.
  ScanSummary scan(const std::vector<ScanTarget>& targets, const ProgressCallback& onProgress,
                   const VerdictCallback& onVerdict);

  /// Ends the scan after the files that are being read.
  void cancel() EXCLUDES(mutex_);

  /// Scans one file as scan() does, without the filter. The verdict is worthless once the constructor's
  /// `stop` is requested. Must not run at the same time as scan().
  FileVerdict scanSingleFile(const std::wstring& path);

 private:
  class Delivery;
  class FileSource;
  void scanInline(FileSource& source, Delivery& delivery, const StopToken& cancelled);
  void scanAhead(FileSource& source, Delivery& delivery, size_t workers, const StopToken& cancelled);
  StopToken cancelToken() const EXCLUDES(mutex_);
  StopToken forgetCancel() EXCLUDES(mutex_);

  const ScanContext context_;
  const ScanOptions options_;
  ScanScratch scratch_;  // used by the scanning thread only

  mutable Mutex mutex_;
  std::optional<LinkedStop> cancel_ GUARDED_BY(mutex_);  // never empty; replaced at the start of each scan
};

}  // namespace korvel

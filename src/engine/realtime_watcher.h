// Real-time protection without the driver: watches a fixed set of directory trees and scans every file named
// in a change notification. A file that another program holds is tried again.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine/held_files.h"
#include "runtime/stop_event.h"
#include "scan/file_scanner.h"
#include "scan/scan_records.h"

namespace korvel::svc {

/// The watched trees, in order. Fixed: they do not follow the system's own folder settings.
const std::vector<std::wstring>& watchedRoots();

class RealtimeWatcher {
 public:
  using DetectionCallback = std::function<void(const FileVerdict&)>;

  /// Keeps this database for its whole life: a reload reaches the watcher at the next start of the service.
  RealtimeWatcher(std::shared_ptr<const SignatureDatabase> database, const ScanOptions& options,
                  const StopEvent& stop, DetectionCallback onDetection,
                  const HeldFiles::Delays& delays = HeldFiles::kDelays);
  ~RealtimeWatcher();
  RealtimeWatcher(const RealtimeWatcher&) = delete;
  RealtimeWatcher& operator=(const RealtimeWatcher&) = delete;

  /// Watches until the stop, which it notices at once. Roots that cannot be opened are skipped; returns at
  /// once when there is no root to watch. Detections of severity 2 and above go to the callback, on the
  /// calling thread.
  void run(const std::vector<std::wstring>& roots);

 private:
  class WatchedDir;

  void open(const std::vector<std::wstring>& roots);
  void arm();
  void loop();
  void handle(WatchedDir& dir);
  void scanChanged(const std::wstring& root, const std::wstring& name);
  void tryHeldFile();
  void report(const FileVerdict& verdict);

  const ScanOptions options_;
  FileScanner scanner_;
  const StopEvent& stop_;
  const DetectionCallback onDetection_;
  HeldFiles held_;
  std::vector<std::unique_ptr<WatchedDir>> dirs_;
};

}  // namespace korvel::svc

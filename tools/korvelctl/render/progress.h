// The progress of a scan: one line, rewritten in place on a terminal, or a line now and then. Pure; not
// thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "korvelctl/cli/context.h"
#include "records/scan_progress.h"

namespace korvel::ctl {

enum class ProgressStyle {
  kAuto,   ///< a bar on a terminal; otherwise nothing, or with --verbose a line every 30 s
  kBar,    ///< one line, rewritten in place
  kLines,  ///< a line every few seconds, for a log
  kNone,
};

/// How fast a scan is and how long it will take. Fed with every report.
class ScanPace {
 public:
  /// `atMs` is any clock in milliseconds.
  void see(const ScanProgressInfo& progress, uint64_t atMs);
  double bytesPerSecond() const { return bytesPerSecond_; }
  /// Nothing before 5 s and 1 %.
  std::optional<uint64_t> secondsLeft() const { return secondsLeft_; }

 private:
  bool started_ = false;
  uint64_t startMs_ = 0;
  uint64_t startBytes_ = 0;
  double bytesPerSecond_ = 0;
  std::optional<uint64_t> secondsLeft_;
};

/// The share of the work that is done, by bytes where they are known and by files otherwise. At most 99: only
/// the end of a scan is its end.
int percentDone(const ScanProgressInfo& progress);

/// One line of at most `columns` characters (0 = without a limit), without a line end.
std::string progressText(const ScanProgressInfo& progress, const ScanPace& pace, Language language,
                         size_t columns);
nlohmann::ordered_json progressJson(const ScanProgressInfo& progress, bool scanning);

class ProgressLine {
 public:
  /// `output` must outlive the object.
  ProgressLine(Output& output, ProgressStyle style, const GlobalOptions& global);
  ~ProgressLine() { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Draws at most 5 times a second.
  void show(const ScanProgressInfo& progress, uint64_t atMs);
  /// Wipes the progress, then writes whole lines.
  void interrupt(const std::string& lines);
  /// Wipes the line that is rewritten in place.
  void clear();
  bool drawsBar() const { return style_ == ProgressStyle::kBar; }

 private:
  Output& output_;
  ProgressStyle style_;
  const Language language_;
  uint64_t intervalMs_ = 0;
  ScanPace pace_;
  size_t shownColumns_ = 0;  ///< of the line in place
  bool shownOnce_ = false;
  uint64_t lastMs_ = 0;
  std::wstring lastPhase_;
};

}  // namespace korvel::ctl

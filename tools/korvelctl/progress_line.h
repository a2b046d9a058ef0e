// Progress on the error output while a scan runs: a line rewritten in place, or a new line every few seconds
// and at every change of phase.
#pragma once

#include <string>

#include "base/win.h"
#include "korvelctl/command_line.h"
#include "korvelctl/output.h"
#include "records/scan_progress.h"

namespace korvel::ctl {

class ProgressLine {
 public:
  /// `output` must outlive the object.
  ProgressLine(const Output& output, ProgressStyle style);
  ~ProgressLine() { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void show(const ScanProgressInfo& progress);
  /// Wipes the progress, then writes a whole line (with its LF).
  void interrupt(const std::string& line);
  /// Wipes the line that is rewritten in place.
  void clear();

 private:
  const Output& output_;
  ProgressStyle style_;
  size_t shownColumns_ = 0;   ///< of the line in place
  ULONGLONG lastLineMs_ = 0;  ///< system tick of the last line of a log
  std::wstring lastPhase_;    ///< that line's phase; a change is shown at once
};

}  // namespace korvel::ctl

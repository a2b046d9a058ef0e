// Concludes how a scan ended. The service records every scan as cancelled, so the end is inferred from its
// counters and from what this client did. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "korvelctl/model/scan_report.h"
#include "records/scan_progress.h"

namespace korvel::ctl {

/// Watches the reports of one scan from its start to its end. Not thread-safe.
class ScanWatch {
 public:
  /// Takes a report; `followedMs` is the time since the scan was started, or since following began.
  void see(const ScanReport& report, uint64_t followedMs);
  /// Another scan has taken this one's place since it was last seen.
  bool replaced() const { return replaced_; }

 private:
  bool scanning_ = false;  ///< has been seen in the phase in which the totals stand still
  bool replaced_ = false;
  uint64_t filesTotal_ = 0;
  uint64_t bytesTotal_ = 0;
  uint64_t filesDone_ = 0;
  uint64_t lastSeenRunningMs_ = 0;
};

/// What is known at the end.
struct ScanEnd {
  std::wstring phase;  ///< of the last report
  uint64_t filesDone = 0;
  uint64_t filesTotal = 0;
  uint64_t filesExamined = 0;
  bool lost = false;       ///< another scan's result, or the service has gone
  bool cancelled = false;  ///< by this client
};

struct Conclusion {
  ScanOutcome outcome = ScanOutcome::kCompleted;
  std::string basis;  ///< what it rests on; ASCII
};
Conclusion concluded(const ScanEnd& end);

/// True when every path lies in one of the folders; paths compare without regard to case. Folders are
/// absolute.
bool allBelow(const std::vector<ThreatRecord>& threats, const std::vector<std::wstring>& folders);
bool isBelow(const std::wstring& path, const std::wstring& folder);

}  // namespace korvel::ctl

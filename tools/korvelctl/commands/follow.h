// Follows a scan to its end.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "korvelctl/cli/context.h"
#include "korvelctl/model/scan_report.h"
#include "korvelctl/render/progress.h"

namespace korvel::ctl {

struct FollowOptions {
  std::vector<std::wstring> targets;  ///< of a custom scan: results outside are those of another one
  ProgressStyle progress = ProgressStyle::kAuto;
  bool gentle = false;      ///< ask for the status only, and once for the rest at the end
  uint64_t maxMinutes = 0;  ///< 0 = without a limit
};

/// Fills in what following shows: outcome, counts, threats, events, database, errors. The scan must have been
/// started, or run. Problems on the way go to the context's errors; only those before the first reply are
/// thrown.
void followScan(Context& context, const FollowOptions& options, ScanDocument& document);

/// An event with the moment at which it came.
ReportedEvent seenNow(const ThreatEvent& event);

/// Takes the events of one progress reply into the document, and tells of them at once.
void keepEvents(Context& context, const std::vector<ThreatEvent>& events, std::vector<ReportedEvent>& kept,
                ProgressLine* line);

}  // namespace korvel::ctl

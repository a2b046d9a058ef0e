#include "korvelctl/model/scan_outcome.h"

#include <algorithm>

#include "base/long_path.h"
#include "base/text.h"

namespace korvel::ctl {
namespace {

/// The service's clock of a scan starts a little after the request, and counts only whole milliseconds.
constexpr uint64_t kClockSlackMs = 2'000;

bool countersStandStill(const std::wstring& phase) {
  return phase == scan_phase::kScanning || phase == scan_phase::kFinishing;
}

std::wstring comparable(const std::wstring& path) {
  std::wstring text = lowerWide(extendedPath(path));
  while (text.size() > 1 && text.back() == L'\\') text.pop_back();
  return text;
}

}  // namespace

void ScanWatch::see(const ScanReport& report, uint64_t followedMs) {
  const ScanProgressInfo& now = report.progress;
  if (scanning_) {
    const bool wentBack = now.filesDone < filesDone_;
    const bool otherTotals = now.filesTotal != filesTotal_ || now.bytesTotal != bytesTotal_;
    // A final phase is seen while the service still saves the outcome.
    const bool startedAnew =
        report.scanning && (now.phase == scan_phase::kPreparing || now.phase == scan_phase::kCounting);
    const bool tooShort =
        !report.scanning && report.lastSummary.elapsedMs + kClockSlackMs < lastSeenRunningMs_;
    if (wentBack || otherTotals || startedAnew || tooShort) replaced_ = true;
  }
  if (!report.scanning) return;
  lastSeenRunningMs_ = followedMs;
  filesDone_ = now.filesDone;
  if (!countersStandStill(now.phase)) return;
  scanning_ = true;
  filesTotal_ = now.filesTotal;
  bytesTotal_ = now.bytesTotal;
}

Conclusion concluded(const ScanEnd& end) {
  if (end.lost) return {ScanOutcome::kLost, "result_of_another_scan_or_service_gone"};
  if (end.phase == scan_phase::kFailed) return {ScanOutcome::kFailed, "phase=failed"};
  if (end.cancelled) return {ScanOutcome::kCancelled, "cancelled_by_this_client"};
  if (end.phase == scan_phase::kIdle) return {ScanOutcome::kNothingExamined, "phase=idle"};
  if (end.filesExamined == 0) return {ScanOutcome::kNothingExamined, "files_examined=0"};
  if (end.filesDone >= end.filesTotal) return {ScanOutcome::kCompleted, "files_done>=files_total"};
  return {ScanOutcome::kStopped, "files_done<files_total"};
}

bool isBelow(const std::wstring& path, const std::wstring& folder) {
  if (folder.empty()) return false;
  const std::wstring inner = comparable(path), outer = comparable(folder);
  return inner == outer || inner.starts_with(outer + L"\\");
}

bool allBelow(const std::vector<ThreatRecord>& threats, const std::vector<std::wstring>& folders) {
  return std::all_of(threats.begin(), threats.end(), [&folders](const ThreatRecord& threat) {
    return std::any_of(folders.begin(), folders.end(),
                       [&threat](const std::wstring& folder) { return isBelow(threat.path, folder); });
  });
}

}  // namespace korvel::ctl

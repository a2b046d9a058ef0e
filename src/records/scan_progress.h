// The progress of a scan and its result.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "records/threat_record.h"

namespace korvel {

/// Every phase that a progress record can show, in the order of a scan; the last four are final. Clients
/// compare these texts.
namespace scan_phase {
inline constexpr wchar_t kPreparing[] = L"preparing";
inline constexpr wchar_t kCounting[] = L"counting";
inline constexpr wchar_t kScanning[] = L"scanning";
inline constexpr wchar_t kFinishing[] = L"finishing";
inline constexpr wchar_t kIdle[] = L"idle";            ///< there was nothing to scan
inline constexpr wchar_t kFinished[] = L"finished";    ///< known to clients; no scan ends with it
inline constexpr wchar_t kCancelled[] = L"cancelled";  ///< end of every scan that was carried out
inline constexpr wchar_t kFailed[] = L"failed";
}  // namespace scan_phase

/// A plain value. A fresh record has all counters 0 and no texts.
struct ScanProgressInfo {
  uint64_t filesDone = 0;
  uint64_t filesTotal = 0;
  uint64_t bytesDone = 0;
  uint64_t bytesTotal = 0;
  std::wstring currentPath;  ///< the file being scanned; empty while counting
  std::wstring phase;        ///< one of scan_phase; empty before the first scan

  bool operator==(const ScanProgressInfo&) const = default;
};

/// The totals of one scan. A plain value.
struct ScanSummary {
  uint64_t filesScanned = 0;
  uint64_t threats = 0;     ///< files with a listed digest, or with a verdict of severity 3 or above
  uint64_t suspicious = 0;  ///< other files with a verdict of severity 2
  uint64_t bytesScanned = 0;
  uint64_t elapsedMs = 0;
  bool cancelled = false;

  bool operator==(const ScanSummary&) const = default;
};

/// The content of one progress reply. The parts are consistent: when the scan has ended, the report also has
/// its outcome.
struct ScanReport {
  ScanProgressInfo progress;
  bool scanning = false;
  ScanSummary lastSummary;
  std::vector<ThreatEvent> events;  ///< detections not yet delivered, oldest first
};

}  // namespace korvel

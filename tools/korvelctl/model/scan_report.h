// What one scan has shown, whole: the value that every form of output is made of, and that the renderers see
// instead of the pipe. Plain values and pure functions; thread-safe. Texts are UTF-8, paths UTF-16 and
// unchanged: each renderer makes them fit for its form.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korvelctl/model/item_error.h"
#include "records/severity.h"
#include "records/threat_record.h"

namespace korvel::ctl {

/// How a scan ended, as far as a client can tell.
enum class ScanOutcome {
  kCompleted,        ///< all that was counted has been examined
  kCancelled,        ///< by this client
  kStopped,          ///< by somebody else, or the folders changed meanwhile
  kFailed,           ///< the service could not scan
  kNothingExamined,  ///< no file was examined
  kLost,             ///< another scan has replaced this one's result, or the service has gone
};

/// "completed", "cancelled", "stopped", "failed", "nothing_examined", "lost". A static text.
const char* outcomeName(ScanOutcome outcome);

/// What has become of a file that a scan listed.
enum class ThreatState {
  kPresent,
  kQuarantined,
  kDeleted,  ///< gone, and a decision of this client deleted it
  kMissing,  ///< gone, nobody here knows why
};

/// "present", "quarantined", "deleted", "missing". A static text.
const char* threatStateName(ThreatState state);

struct ReportedThreat {
  uint64_t number = 0;  ///< as listed by the service, from 1
  ThreatRecord record;
  std::string action;  ///< what was decided: "report", "quarantine" or "delete"
  std::string result;  ///< "ok" or why it failed; empty where nothing was to be done
  ThreatState state = ThreatState::kPresent;
  /// The file lies in the quarantine itself: it is shown, but never counted or decided on.
  bool inQuarantineStore = false;

  bool operator==(const ReportedThreat&) const = default;
};

/// A detection in real time that this client received.
struct ReportedEvent {
  ThreatEvent event;
  uint64_t seenUtc = 0;            ///< Unix seconds at which the client received it
  bool inQuarantineStore = false;  ///< as for a threat

  bool operator==(const ReportedEvent&) const = default;
};

struct ScanDocument {
  std::string toolVersion;            ///< "1.2.0"
  std::string serviceVersion;         ///< empty where it could not be asked
  std::string host;                   ///< the computer's name
  std::string commandLine;            ///< as it was typed
  std::string scope;                  ///< "quick", "full", "user" or "custom"
  std::vector<std::wstring> targets;  ///< whole paths; empty for "quick" and "full"
  uint64_t startedUtc = 0;            ///< Unix seconds
  uint64_t elapsedMs = 0;

  ScanOutcome outcome = ScanOutcome::kCompleted;
  std::string outcomeBasis;  ///< what the outcome was concluded from, in ASCII: "files_done>=files_total"

  uint64_t signatureCount = 0;
  std::string signatureVersion;
  uint64_t lastLiveUpdateUtc = 0;  ///< Unix seconds; 0 = never or not known

  uint64_t filesExamined = 0;
  uint64_t filesTotal = 0;  ///< counted before the scan; 0 = not known
  uint64_t bytesExamined = 0;
  uint64_t threatCount = 0;      ///< as the service counts: severity 3 and above, and all listed digests
  uint64_t suspiciousCount = 0;  ///< as the service counts: severity 2
  bool cancelledFlag = false;    ///< as the service sent it; it is set for every scan

  std::vector<ReportedThreat> threats;  ///< in the service's order
  std::vector<ReportedEvent> events;    ///< oldest first
  std::vector<ItemError> errors;
  Severity failOn = kSeverityHigh;
};

/// How many of the threats have each severity from 0 to 4, files in the quarantine left out. Values off the
/// scale count as clean.
struct SeverityCounts {
  std::array<uint64_t, kSeverityCritical + 1> of{};
  uint64_t atLeast(Severity least) const;
};
SeverityCounts countThreats(const ScanDocument& document);

/// Whether a threat or an event, files in the quarantine left out, is at or above `document.failOn`.
bool foundSomething(const ScanDocument& document);

/// Bytes per second; nothing when the scan took no measurable time.
std::optional<double> scanSpeed(const ScanDocument& document);

/// The threats of one rule, for lists that must stay short.
struct FindingGroup {
  std::string code;
  Severity severity = kSeverityClean;  ///< the highest in the group
  std::vector<size_t> threats;         ///< places in `document.threats`
};
/// The threats whose severity lies within the two bounds, by their code: the most severe group first, then
/// the largest, then by name. Files in the quarantine are left out.
std::vector<FindingGroup> groupByCode(const ScanDocument& document, Severity least, Severity most);

}  // namespace korvel::ctl

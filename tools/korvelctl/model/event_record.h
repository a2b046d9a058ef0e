// What korvelctl writes into the Windows event log, for programs that collect events. The numbers and the
// order of the strings are fixed: collectors filter by them. English only. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "records/severity.h"

namespace korvel::ctl {

/// The source of all events, in the log "Application".
inline constexpr wchar_t kEventSource[] = L"KORVEL Antivirus";

enum class EventId : uint32_t {
  kThreatFound = 1001,   ///< path, name, code, severity, size, time
  kQuarantined = 1002,   ///< path, name, code, severity
  kDeleted = 1003,       ///< path, name, code, severity
  kActionFailed = 1004,  ///< path, name, code, severity, reason
  kWatchStarted = 1010,  ///< version
  kWatchEnded = 1011,    ///< number of events seen
  kServiceLost = 1020,   ///< reason
  kServiceBack = 1021,   ///< version
};

enum class EventLevel { kInformation, kWarning, kError };

struct EventRecord {
  EventId id = EventId::kThreatFound;
  EventLevel level = EventLevel::kInformation;
  std::vector<std::wstring> strings;

  bool operator==(const EventRecord&) const = default;
};

/// A file as an event tells of it. Texts are UTF-8 and come from outside.
struct EventThreat {
  std::wstring path;
  std::string name;
  std::string code;
  Severity severity = kSeverityClean;
  uint64_t size = 0;
  uint64_t seenUtc = 0;  ///< Unix seconds
};

/// Texts from outside have their control characters replaced and are cut to what an event can hold.
EventRecord threatFound(const EventThreat& threat);
EventRecord threatQuarantined(const EventThreat& threat);
EventRecord threatDeleted(const EventThreat& threat);
EventRecord actionFailed(const EventThreat& threat, const std::string& reason);
EventRecord watchStarted(const std::string& version);
EventRecord watchEnded(uint64_t eventsSeen);
EventRecord serviceLost(const std::string& reason);
EventRecord serviceBack(const std::string& version);

}  // namespace korvel::ctl

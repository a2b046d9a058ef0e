#include "korvelctl/model/event_record.h"

#include "base/utf.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

/// The system refuses an event with a longer string.
constexpr size_t kMaxStringUnits = 31'839;

std::wstring text(std::wstring_view given) { return toWide(printable(given.substr(0, kMaxStringUnits))); }
std::wstring text(std::string_view given) {
  std::wstring wide = toWide(printable(given));
  if (wide.size() > kMaxStringUnits) wide.resize(kMaxStringUnits);
  return wide;
}

EventRecord aboutThreat(EventId id, EventLevel level, const EventThreat& threat) {
  return {id,
          level,
          {text(threat.path), text(threat.name), text(threat.code),
           text(std::string_view(severityName(threat.severity)))}};
}

}  // namespace

EventRecord threatFound(const EventThreat& threat) {
  const EventLevel level = threat.severity >= kSeverityHigh ? EventLevel::kError : EventLevel::kWarning;
  EventRecord record = aboutThreat(EventId::kThreatFound, level, threat);
  record.strings.push_back(std::to_wstring(threat.size));
  record.strings.push_back(threat.seenUtc == 0 ? L"-" : text(isoUtc(threat.seenUtc)));
  return record;
}

EventRecord threatQuarantined(const EventThreat& threat) {
  return aboutThreat(EventId::kQuarantined, EventLevel::kInformation, threat);
}

EventRecord threatDeleted(const EventThreat& threat) {
  return aboutThreat(EventId::kDeleted, EventLevel::kInformation, threat);
}

EventRecord actionFailed(const EventThreat& threat, const std::string& reason) {
  EventRecord record = aboutThreat(EventId::kActionFailed, EventLevel::kError, threat);
  record.strings.push_back(text(reason));
  return record;
}

EventRecord watchStarted(const std::string& version) {
  return {EventId::kWatchStarted, EventLevel::kInformation, {text(version)}};
}

EventRecord watchEnded(uint64_t eventsSeen) {
  return {EventId::kWatchEnded, EventLevel::kInformation, {std::to_wstring(eventsSeen)}};
}

EventRecord serviceLost(const std::string& reason) {
  return {EventId::kServiceLost, EventLevel::kWarning, {text(reason)}};
}

EventRecord serviceBack(const std::string& version) {
  return {EventId::kServiceBack, EventLevel::kInformation, {text(version)}};
}

}  // namespace korvel::ctl

#include "korvelctl/commands/decide.h"

#include <algorithm>
#include <set>

#include "base/files.h"
#include "base/text.h"
#include "korvelctl/cli/words/threat_words.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/scan_report.h"

namespace korvel::ctl {

using ipc::Opcode;

void markStoredFiles(const FilePlaces& places, std::vector<ReportedThreat>& threats,
                     std::vector<ReportedEvent>& events) {
  for (ReportedThreat& threat : threats)
    threat.inQuarantineStore = places.of(threat.record.path).inQuarantineStore;
  for (ReportedEvent& seen : events) seen.inQuarantineStore = places.of(seen.event.path).inQuarantineStore;
}

void decide(Context& context, ThreatAction action, bool force, const FilePlaces& places,
            const std::string& item, ReportedThreat& threat) {
  const bool deletes = action == ThreatAction::kDelete;
  threat.action = threatActionName(action);
  try {
    const auto guard = guardAgainst(places.of(threat.record.path), force, context.language());
    if (guard) throw Failure(ErrorKind::kGuard, *guard);
    if (context.global().dryRun) {
      threat.result = "dry_run";
    } else {
      const uint32_t code = deletes ? ipc::kActionDelete : ipc::kActionQuarantine;
      context.service().ask(Opcode::kThreatDecision, ipc::encodeThreatDecision({code, threat.record}));
      if (pathExists(threat.record.path)) throw Failure(ErrorKind::kRefused, context.say(words::kStillThere));
      threat.result = "ok";
      threat.state = deletes ? ThreatState::kDeleted : ThreatState::kQuarantined;
    }
  } catch (const Failure& failure) {
    threat.result = failure.what();
    context.report(item, failure);
  }
  context.line("action", threatJson(threat));
}

void lookAtStates(Context& context, std::vector<ReportedThreat>& threats) {
  if (threats.empty()) return;
  std::set<std::wstring> quarantined;
  for (const QuarantineRecord& record : askQuarantine(context.service()))
    quarantined.insert(lowerWide(record.originalPath));
  for (ReportedThreat& threat : threats) {
    const bool decidedAway = threat.state == ThreatState::kDeleted;
    if (pathStatus(threat.record.path) != PathStatus::kMissing)
      threat.state = ThreatState::kPresent;
    else if (quarantined.contains(lowerWide(threat.record.path)) && !decidedAway)
      threat.state = ThreatState::kQuarantined;
    else
      threat.state = decidedAway ? ThreatState::kDeleted : ThreatState::kMissing;
  }
}

}  // namespace korvel::ctl

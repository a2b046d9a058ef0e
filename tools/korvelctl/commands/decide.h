// Decisions on detected files: quarantine or delete, with the guards of this client.
#pragma once

#include <string>
#include <vector>

#include "korvelctl/cli/context.h"
#include "korvelctl/machine/file_places.h"
#include "korvelctl/model/decision.h"
#include "korvelctl/model/scan_report.h"

namespace korvel::ctl {

/// Marks the rows and events whose file is one of the quarantine itself.
void markStoredFiles(const FilePlaces& places, std::vector<ReportedThreat>& threats,
                     std::vector<ReportedEvent>& events);

/// Decides on one threat, or with --dry-run says what it would decide. Fills in `action` and `result`; a
/// failure goes into the context's errors under `item`.
void decide(Context& context, ThreatAction action, bool force, const FilePlaces& places,
            const std::string& item, ReportedThreat& threat);

/// Looks what has become of every file: on disk, in the quarantine, or gone.
void lookAtStates(Context& context, std::vector<ReportedThreat>& threats);

}  // namespace korvel::ctl

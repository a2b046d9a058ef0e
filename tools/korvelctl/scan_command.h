// "korvelctl scan": starts a scan, shows its progress, waits for its end and lists what it found.
#pragma once

#include "korvelctl/command_line.h"
#include "korvelctl/output.h"

namespace korvel::ctl {

/// Returns the exit code; throws Failure. Ctrl+C asks the service to end the scan; the result so far is then
/// shown as usual.
int runScan(const Command& command, const Output& out, const Output& err);

}  // namespace korvel::ctl

// Runs every command. The scan, the firewall and the updates have files of their own; the others are one or a
// few exchanges with the service, then the answer as text or JSON.
#pragma once

#include "korvelctl/command_line.h"
#include "korvelctl/output.h"

namespace korvel::ctl {

/// Returns the exit code; throws Failure.
int runCommand(const Command& command, const Output& out, const Output& err);

}  // namespace korvel::ctl

// Runs every command. The scan, the firewall and the updates have their own files; each other command makes
// one or a few exchanges with the service and prints the result as text or JSON.
#pragma once

#include "korvelctl/command_line.h"
#include "korvelctl/output.h"

namespace korvel::ctl {

/// Returns the exit code; throws Failure.
int runCommand(const Command& command, const Output& out, const Output& err);

}  // namespace korvel::ctl

// Runs updates on request, and shows the state of the automatic live updates and the web shield.
#pragma once

#include "korvelctl/command_line.h"
#include "korvelctl/output.h"

namespace korvel::ctl {

/// Starts an update and, if `command.wait`, waits for its end. Returns the exit code; throws Failure.
int runUpdate(const Command& command, const Output& out);

int showShield(const Command& command, const Output& out);

}  // namespace korvel::ctl

// The commands on Windows Firewall: what the service sees of it, and what the service is to change.
#pragma once

#include "korvelctl/command_line.h"
#include "korvelctl/output.h"

namespace korvel::ctl {

/// For the actions named kFirewall... Returns the exit code; throws Failure.
int runFirewall(const Command& command, const Output& out, const Output& err);

}  // namespace korvel::ctl

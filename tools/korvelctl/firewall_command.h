// The firewall commands: show and change the state of Windows Firewall through the service.
#pragma once

#include "korvelctl/command_line.h"
#include "korvelctl/output.h"

namespace korvel::ctl {

/// For the actions named kFirewall... Returns the exit code; throws Failure.
int runFirewall(const Command& command, const Output& out, const Output& err);

}  // namespace korvel::ctl

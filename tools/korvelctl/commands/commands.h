// The tree of all commands. Each group of commands has one file here and adds itself with one function.
#pragma once

#include "korvelctl/cli/command.h"

namespace korvel::ctl {

void addStatusCommands(Command& root);
void addScanCommands(Command& root);
void addThreatCommands(Command& root);
void addQuarantineCommands(Command& root);
void addConfigCommands(Command& root);
void addUpdateCommands(Command& root);
void addReloadCommand(Command& root);
void addFirewallCommands(Command& root);
void addWatchCommand(Command& root);
void addCheckCommand(Command& root);
void addShieldCommands(Command& root);
void addSettingsFileCommands(Command& root);    ///< to the group "config"
void addQuarantineFileCommands(Command& root);  ///< to the group "quarantine"
void addQuarantineNamesCommand(Command& root);  ///< likewise
/// To the group of the one above.
void addFirewallFileCommands(Command& firewall);
void addStopCommand(Command& root);
void addServiceCommands(Command& root);
void addLogCommands(Command& root);
void addDoctorCommand(Command& root);
void addSelftestCommand(Command& root);
void addRawCommand(Command& root);
void addCompletionCommand(Command& root);

/// All of them, in the order of the help.
void addCommands(Command& root);

}  // namespace korvel::ctl

#include "korvelctl/commands/commands.h"

namespace korvel::ctl {

void addCommands(Command& root) {
  addStatusCommands(root);
  addScanCommands(root);
  addThreatCommands(root);
  addQuarantineCommands(root);
  addConfigCommands(root);
  addUpdateCommands(root);
  addReloadCommand(root);
  addFirewallCommands(root);
  addWatchCommand(root);
  addCheckCommand(root);
  addSettingsFileCommands(root);
  addQuarantineFileCommands(root);
  addQuarantineNamesCommand(root);
  addShieldCommands(root);
  addStopCommand(root);
  addServiceCommands(root);
  addLogCommands(root);
  addDoctorCommand(root);
  addSelftestCommand(root);
  addRawCommand(root);
  addCompletionCommand(root);
}

}  // namespace korvel::ctl

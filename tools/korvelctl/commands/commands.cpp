#include "korvelctl/commands/commands.h"

namespace korvel::ctl {

void addCommands(Command& root) {
  addStatusCommands(root);
  addUpdateCommands(root);
  addReloadCommand(root);
  addFirewallCommands(root);
  addStopCommand(root);
  addServiceCommands(root);
  addLogCommands(root);
  addDoctorCommand(root);
  addSelftestCommand(root);
  addCompletionCommand(root);
}

}  // namespace korvel::ctl

#include "korvelctl/commands/commands.h"

namespace korvel::ctl {

void addCommands(Command& root) {
  addStatusCommands(root);
  addUpdateCommands(root);
  addReloadCommand(root);
  addFirewallCommands(root);
  addCheckCommand(root);
  addSettingsFileCommands(root);
  addQuarantineFileCommands(root);
  addShieldCommands(root);
  addStopCommand(root);
}

}  // namespace korvel::ctl

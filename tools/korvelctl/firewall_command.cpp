#include "korvelctl/firewall_command.h"

#include <nlohmann/json.hpp>

#include "base/utf.h"
#include "korvelctl/connection.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/firewall_listing.h"
#include "korvelctl/json_output.h"
#include "korvelctl/printable.h"
#include "korvelctl/whole_path.h"
#include "protocol/messages.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

/// Errors go to the error output, and into the JSON; the rest of the listing is shown anyway.
int status(const Command& command, const Output& out, const Output& err) {
  const FirewallListing listing = understood(parseFirewallListing(ask(Opcode::kFirewallStatus)));
  out.write(command.json ? dumpJson(firewallJson(listing, command.ownOnly))
                         : renderFirewall(listing, command.ownOnly));
  for (const std::string& error : listing.errors) err.write("korvelctl: " + printable(error) + "\n");
  return listing.errors.empty() ? kExitNothingFound : kExitRefused;
}

Opcode opcodeOf(Action action) {
  switch (action) {
    case Action::kFirewallProfile:
      return Opcode::kFirewallSetProfile;
    case Action::kFirewallInbound:
      return Opcode::kFirewallBlockInbound;
    case Action::kFirewallAddRule:
      return Opcode::kFirewallAddRule;
    default:
      return Opcode::kFirewallRemoveRules;
  }
}

int change(const Command& command, const Output& out) {
  std::string argument = command.firewallChange;
  if (command.action == Action::kFirewallAddRule) argument += toUtf8(wholePath(command.program));
  const std::string payload = ask(opcodeOf(command.action), ipc::encodeText(argument));
  const ipc::FirewallChangeReply reply = understood(ipc::decodeFirewallChange(payload));
  if (!reply.ok) throw Failure(kExitRefused, reply.text);
  const char* const done = "firewall changed";
  out.write(command.json ? dumpJson(nlohmann::ordered_json{{"done", done}}) : std::string(done) + "\n");
  return kExitNothingFound;
}

}  // namespace

int runFirewall(const Command& command, const Output& out, const Output& err) {
  return command.action == Action::kFirewallStatus ? status(command, out, err) : change(command, out);
}

}  // namespace korvel::ctl

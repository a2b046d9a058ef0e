// firewall: Windows Firewall through the service.
#include "base/utf.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/firewall_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/firewall.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

struct FirewallOptions {
  bool ownOnly = false;
  std::string profile, state, program;
  bool in = false, out = false, both = false;
};

/// What could not be read is reported; the rest of the listing is shown anyway.
int status(const FirewallOptions& options, Context& context) {
  const FirewallListing listing = askFor(context.service(), Opcode::kFirewallStatus, parseFirewallListing);
  context.print(renderFirewall(listing, options.ownOnly, context.look()));
  for (const std::string& error : listing.errors)
    context.report("firewall", Failure(ErrorKind::kRefused, error));
  context.document("firewall", firewallJson(listing, options.ownOnly));
  return context.exitCode(kExitDone);
}

int change(Context& context, Opcode opcode, const std::string& argument) {
  const bool dryRun = context.global().dryRun;
  if (!dryRun) {
    const auto reply =
        askFor(context.service(), opcode, ipc::decodeFirewallChange, ipc::encodeText(argument));
    if (!reply.ok) throw Failure(ErrorKind::kRefused, reply.text);
  }
  context.print(std::string(context.say(dryRun ? words::kWouldChangeFirewall : words::kFirewallChanged)) +
                "\n");
  context.document("firewall", {{"done", !dryRun}});
  return kExitDone;
}

void addRuleCommand(Command& group, const char* action, const Text& help, const Text& example,
                    const char* line) {
  const auto options = std::make_shared<FirewallOptions>();
  const std::string word = action;
  group
      .add(word, help,
           [options, word](Context& context) {
             const char* direction = options->in ? "in" : options->out ? "out" : "both";
             const std::string program = toUtf8(wholePath(options->program, context.language()));
             return change(context, Opcode::kFirewallAddRule, word + "|" + direction + "|" + program);
           })
      .argument("PROGRAM", options->program, words::kProgramArgument)
      .flag("--in", options->in, words::kInHelp)
      .flag("--out", options->out, words::kOutHelp)
      .flag("--both", options->both, words::kBothHelp)
      .check([options](const GlobalOptions& global) {
        if (options->in + options->out + options->both > 1)
          throw Failure(ErrorKind::kUsage, words::kOneDirection.in(global.language));
      })
      .example(line, example);
}

}  // namespace

void addFirewallCommands(Command& root) {
  Command& group = root.group("firewall", words::kFirewallHelp);
  const auto options = std::make_shared<FirewallOptions>();
  group
      .add("status", words::kFirewallStatusHelp,
           [options](Context& context) { return status(*options, context); })
      .flag("--own", options->ownOnly, words::kOwnHelp)
      .example("korvelctl firewall status --own", words::kFirewallStatusExample);
  group
      .add("profile", words::kProfileHelp,
           [options](Context& context) {
             return change(context, Opcode::kFirewallSetProfile,
                           options->profile + (options->state == "on" ? ",1" : ",0"));
           })
      .argumentChoice("PROFILE", {"domain", "private", "public"}, options->profile, words::kProfileArgument)
      .argumentChoice("STATE", {"on", "off"}, options->state, words::kStateArgument)
      .example("korvelctl firewall profile public on", words::kProfileExample);
  group
      .add("inbound", words::kInboundHelp,
           [options](Context& context) {
             return change(context, Opcode::kFirewallBlockInbound, options->state == "block" ? "1" : "0");
           })
      .argumentChoice("STATE", {"block", "unblock"}, options->state, words::kStateArgument)
      .example("korvelctl firewall inbound block", words::kInboundExample);
  addRuleCommand(group, "block", words::kBlockHelp, words::kBlockExample,
                 "korvelctl firewall block C:\\Tools\\sender.exe --out");
  addRuleCommand(group, "allow", words::kAllowHelp, words::kAllowExample,
                 "korvelctl firewall allow C:\\Tools\\server.exe");
  group
      .add("reset", words::kResetHelp,
           [](Context& context) {
             context.confirm(context.say(words::kResetQuestion));
             return change(context, Opcode::kFirewallRemoveRules, "");
           })
      .example("korvelctl firewall reset --yes", words::kResetExample);
  addFirewallFileCommands(group);
}

}  // namespace korvel::ctl

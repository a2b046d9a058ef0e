// The commands that give the service one order: reload and stop.
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/control_words.h"
#include "korvelctl/cli/words/status_words.h"
#include "korvelctl/cli/words/update_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

int reload(Context& context) {
  const bool dryRun = context.global().dryRun;
  if (!dryRun) context.service().ask(Opcode::kReloadSignatures);
  const EngineStatus status = askStatus(context.service());
  const std::string loaded = context.say(
      words::kSignaturesLoaded,
      {numberText(status.signatureCount, context.language()), printable(status.signatureVersion)});
  if (dryRun)
    context.print(std::string(context.say(words::kWouldReload)) + "\n");
  else if (status.signatureCount == 0)
    context.print(std::string(context.say(words::kReloadedNone)) + "\n");
  else
    context.print(context.say(words::kReloaded, {loaded}) + "\n");
  context.document(
      "update",
      {{"what", "reload"},
       {"done", !dryRun},
       {"signatures", {{"count", jsonNumber(status.signatureCount)}, {"version", status.signatureVersion}}}});
  return kExitDone;
}

int stop(Context& context) {
  const bool dryRun = context.global().dryRun;
  context.confirm(context.say(words::kStopQuestion));
  if (!dryRun) context.service().ask(Opcode::kStopService);
  context.print(std::string(context.say(dryRun ? words::kWouldStop : words::kStopAsked)) + "\n");
  context.document("service", {{"action", "stop"}, {"done", !dryRun}});
  return kExitDone;
}

}  // namespace

void addReloadCommand(Command& root) {
  root.add("reload", words::kReloadHelp, reload).example("korvelctl reload", words::kReloadExample);
  root.group("update", words::kUpdateHelp)
      .add("reload", words::kReloadHelp, reload)
      .example("korvelctl update reload", words::kReloadExample);
}

void addStopCommand(Command& root) {
  root.add("stop", words::kStopHelp, stop)
      .example("korvelctl stop --yes", words::kStopExample)
      .note(words::kStopNote);
}

}  // namespace korvel::ctl

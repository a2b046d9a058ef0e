// update signatures and update program.
#include <optional>

#include "base/clock.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/status_words.h"
#include "korvelctl/cli/words/update_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/machine/server_probe.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr DWORD kPollMs = 200;

/// A successful update shows only as a new time of the last update, in whole seconds. An update that starts
/// and ends in the same second as the last one would not change it, so this waits for the next second.
void waitForNextSecond(uint64_t lastUpdate) {
  while (unixSecondsNow() == lastUpdate) ::Sleep(kPollMs);
}

/// Waits without a time limit: the service's own time-outs end the job, and Ctrl+C ends this client.
EngineStatus statusAfter(Context& context, bool EngineStatus::*running) {
  for (;;) {
    EngineStatus status = askStatus(context.service());
    if (!(status.*running)) return status;
    context.service().breathe();
    ::Sleep(kPollMs);
  }
}

/// The document of a job that was only started, or would have been.
int started(Context& context, const char* what) {
  const bool dryRun = context.global().dryRun;
  context.print(std::string(context.say(dryRun ? words::kWouldUpdate : words::kUpdateStarted)) + "\n");
  context.document("update", {{"what", what}, {"done", false}, {"started", !dryRun}});
  return kExitDone;
}

/// The service keeps the reason of a failed live update to itself. What this client can find out: whether the
/// server answers the caller, whose account and proxy may be others than the service's.
std::string ownLook(Context& context) {
  std::optional<std::string> server = updateServerInFile();
  if (!server) return context.say(words::kServiceKeepsReason, {context.say(words::kServerNotReadable)});
  if (server->empty()) return context.say(words::kServiceKeepsReason, {context.say(words::kPublicLists)});
  while (server->ends_with('/')) server->pop_back();
  const ServerAnswer answer = probeServer(*server + "/api/v1/signatures");
  const std::string shown = printable(*server);
  if (answer.status == 0) {
    return context.say(words::kServiceKeepsReason,
                       {context.say(words::kServerSilent, {shown, std::to_string(answer.win32)})});
  }
  return context.say(words::kServiceKeepsReason,
                     {context.say(answer.status == 200 ? words::kServerFine : words::kServerRefuses,
                                  {shown, std::to_string(answer.status)})});
}

int updateSignatures(bool noWait, Context& context) {
  if (context.global().dryRun) return started(context, "signatures");
  const uint64_t before = askSettings(context.service()).lastLiveUpdateUtc;
  if (!noWait) waitForNextSecond(before);
  context.service().ask(Opcode::kStartLiveUpdate);
  if (noWait) return started(context, "signatures");
  const EngineStatus status = statusAfter(context, &EngineStatus::liveUpdateRunning);
  const uint64_t after = askSettings(context.service()).lastLiveUpdateUtc;
  context.service().letGo();
  const bool updated = after != before;
  if (updated) {
    const std::string loaded = context.say(
        words::kSignaturesLoaded,
        {numberText(status.signatureCount, context.language()), printable(status.signatureVersion)});
    context.print(context.say(words::kUpdated, {loaded}) + "\n");
  } else {
    context.service().letGo();
    context.report("signatures", Failure(ErrorKind::kRefused, context.say(words::kLiveUpdateFailed) +
                                                                  std::string("; ") + ownLook(context)));
  }
  context.document("update", {{"what", "signatures"},
                              {"done", updated},
                              {"started", true},
                              {"signatures",
                               {{"count", jsonNumber(status.signatureCount)},
                                {"version", status.signatureVersion},
                                {"last_live_update_utc", jsonTime(after)}}}});
  return context.exitCode(kExitDone);
}

int updateProgram(bool noWait, Context& context) {
  if (context.global().dryRun) return started(context, "program");
  context.service().ask(Opcode::kStartUpdateCheck);
  if (noWait) return started(context, "program");
  const EngineStatus status = statusAfter(context, &EngineStatus::updateCheckRunning);
  if (!status.updateCheckError.empty()) {
    context.report("program", Failure(ErrorKind::kRefused,
                                      context.say(words::kCheckOfProgramFailed, {status.updateCheckError})));
  } else if (!status.updateCheckInstaller.empty()) {
    context.print(context.say(words::kInstallerSaved, {printable(status.updateCheckInstaller)}) + "\n");
  } else {
    context.print(context.say(words::kUpToDate, {printable(status.serviceVersion)}) + "\n");
  }
  context.document("update", {{"what", "program"},
                              {"done", status.updateCheckError.empty()},
                              {"started", true},
                              {"version", status.serviceVersion},
                              {"installer", status.updateCheckInstaller}});
  return context.exitCode(kExitDone);
}

}  // namespace

void addUpdateCommands(Command& root) {
  const auto noWait = std::make_shared<bool>(false);
  Command& group = root.group("update", words::kUpdateHelp);
  group
      .add("signatures", words::kUpdateSignaturesHelp,
           [noWait](Context& context) { return updateSignatures(*noWait, context); })
      .flag("--no-wait", *noWait, words::kNoWaitHelp)
      .example("korvelctl update signatures", words::kUpdateSignaturesExample);
  group
      .add("program", words::kUpdateProgramHelp,
           [noWait](Context& context) { return updateProgram(*noWait, context); })
      .flag("--no-wait", *noWait, words::kNoWaitHelp)
      .example("korvelctl update program", words::kUpdateProgramExample);
}

}  // namespace korvel::ctl

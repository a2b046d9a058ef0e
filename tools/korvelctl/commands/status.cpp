// status and ping.
#include "base/clock.h"
#include "base/win.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/status_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/render/status.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

struct StatusOptions {
  bool check = false;
  uint64_t watchSeconds = 0;
};

struct PingOptions {
  uint64_t count = 1;
  uint64_t waitSeconds = 0;
};

StatusReport lookAtService(Context& context) {
  StatusReport report;
  (void)context.service().ask(Opcode::kPing);  // the time of connecting does not belong to the round trip
  const ULONGLONG start = ::GetTickCount64();
  report.status = askStatus(context.service());
  report.roundTripMs = ::GetTickCount64() - start;
  report.settings = askSettings(context.service());
  context.service().letGo();
  report.updateServer = updateServerInFile();
  report.now = unixSecondsNow();
  report.problems = healthProblems(report.status, report.settings, report.now, context.language());
  return report;
}

int status(const StatusOptions& options, Context& context) {
  if (options.watchSeconds != 0 && context.global().mode == OutputMode::kJson)
    throw Failure(ErrorKind::kUsage, context.say(words::kWatchNoJson));
  for (;;) {
    const StatusReport report = lookAtService(context);
    context.print(renderStatus(report, context.look()));
    if (options.watchSeconds == 0) {
      context.document("status", statusJson(report));
      return options.check && !report.problems.empty() ? kExitRefused : kExitDone;
    }
    context.line("status", statusJson(report));
    ::Sleep(static_cast<DWORD>(options.watchSeconds * 1000));
    context.print("\n");
  }
}

int ping(const PingOptions& options, Context& context) {
  if (options.waitSeconds != 0) context.service().setPatience(options.waitSeconds);
  Json rounds = Json::array();
  for (uint64_t i = 0; i < options.count; ++i) {
    if (i > 0) ::Sleep(200);
    const ULONGLONG start = ::GetTickCount64();
    const uint32_t ticks = askFor(context.service(), Opcode::kPing, ipc::decodeNumber);
    const uint64_t tookMs = ::GetTickCount64() - start;
    context.print(
        context.say(words::kPingAnswer, {std::to_string(tookMs), durationText(ticks, context.language())}) +
        "\n");
    rounds.push_back({{"rtt_ms", tookMs}, {"tick_count", ticks}});
  }
  context.document("status", {{"answers", true}, {"pings", rounds}});
  return kExitDone;
}

}  // namespace

void addStatusCommands(Command& root) {
  const auto options = std::make_shared<StatusOptions>();
  root.add("status", words::kStatusHelp, [options](Context& context) { return status(*options, context); })
      .flag("--check", options->check, words::kStatusCheckHelp)
      .number("--watch", "N", options->watchSeconds, words::kStatusWatchHelp, 1, 86'400)
      .example("korvelctl status", words::kStatusExample)
      .example("korvelctl status --check --json", words::kStatusCheckExample)
      .note(words::kStatusNote);
  const auto pings = std::make_shared<PingOptions>();
  root.add("ping", words::kPingHelp, [pings](Context& context) { return ping(*pings, context); })
      .number("--count", "N", pings->count, words::kPingCountHelp, 1, 1'000'000)
      .number("--wait", "S", pings->waitSeconds, words::kPingWaitHelp, 0, 86'400)
      .example("korvelctl ping", words::kPingExample)
      .example("korvelctl ping --wait 60", words::kPingWaitExample);
}

}  // namespace korvel::ctl

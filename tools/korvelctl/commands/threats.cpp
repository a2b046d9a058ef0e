// threats: what the last scan found, and decisions on it.
#include <algorithm>
#include <charconv>

#include "base/utf.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/report_words.h"
#include "korvelctl/cli/words/threat_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/commands/decide.h"
#include "korvelctl/commands/follow.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/scan_report.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/threats.h"

namespace korvel::ctl {
namespace {

struct ThreatOptions {
  bool showAll = false;
  bool everything = false;
  bool force = false;
  std::vector<std::string> numbers;
  std::string minSeverity = "high";
  std::string failOn = "high";
};

/// The list of results, numbered as the service lists them.
ScanDocument currentList(Context& context, const ThreatOptions& options, const FilePlaces& places) {
  ScanDocument document;
  document.failOn = severityOption(options.failOn);
  const std::vector<ThreatRecord> records = askResults(context.service());
  for (size_t i = 0; i < records.size(); ++i) {
    ReportedThreat threat;
    threat.number = i + 1;
    threat.record = records[i];
    threat.action = "report";
    document.threats.push_back(std::move(threat));
  }
  markStoredFiles(places, document.threats, document.events);
  return document;
}

int list(const ThreatOptions& options, Context& context) {
  const SettingsFields settings = askSettings(context.service());
  const FilePlaces places(settings.quarantineDir);
  ThreatList threats{currentList(context, options, places), settings.lastScanUtc, false, false};
  threats.scanRuns = askStatus(context.service()).scanRunning;
  threats.scanHasRun = true;
  if (threats.document.threats.empty() && !threats.scanRuns) {
    // Only the progress tells an empty list from none. It hands out events too, which must not get lost.
    const ScanReport report = askProgress(context.service());
    threats.scanHasRun = !report.progress.phase.empty();
    keepEvents(context, report.events, threats.document.events, nullptr);
    markStoredFiles(places, threats.document.threats, threats.document.events);
  }
  lookAtStates(context, threats.document.threats);
  context.service().letGo();
  context.print(renderThreats(threats, context.look(), options.showAll));
  context.document("threats", threatsJson(threats));
  return context.exitCode(foundSomething(threats.document) ? kExitFound : kExitDone);
}

size_t indexOf(const std::string& word, size_t count, Context& context) {
  uint64_t number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, problem] = std::from_chars(word.data(), end, number);
  if (problem != std::errc() || stop != end || number == 0)
    throw Failure(ErrorKind::kUsage, context.say(words::kNotANumberOfAList, {printable(word)}));
  if (number > count) {
    throw Failure(ErrorKind::kRefused,
                  context.say(words::kNoSuchThreat, {std::to_string(number), std::to_string(count)}));
  }
  return static_cast<size_t>(number - 1);
}

/// The places in the list that the command line names. A number that is none ends the command; one that the
/// list does not have is an error of that item.
std::vector<size_t> chosenOf(const ThreatOptions& options, Context& context, const ScanDocument& document) {
  std::vector<size_t> chosen;
  for (const std::string& word : options.numbers) {
    try {
      const size_t index = indexOf(word, document.threats.size(), context);
      if (std::find(chosen.begin(), chosen.end(), index) == chosen.end()) chosen.push_back(index);
    } catch (const Failure& failure) {
      if (failure.kind() == ErrorKind::kUsage) throw;
      context.report(word, failure);
    }
  }
  if (!options.everything) return chosen;
  for (size_t i = 0; i < document.threats.size(); ++i) {
    const ReportedThreat& threat = document.threats[i];
    if (!threat.inQuarantineStore && threat.record.severity >= severityOption(options.minSeverity))
      chosen.push_back(i);
  }
  return chosen;
}

void tellDecision(Context& context, ThreatAction action, const ReportedThreat& threat) {
  const bool deletes = action == ThreatAction::kDelete;
  if (threat.result == "ok") {
    context.print(
        context.say(deletes ? words::kDidDelete : words::kDidQuarantine, {printable(threat.record.path)}) +
        "\n");
  } else if (threat.result == "dry_run") {
    context.print(context.say(deletes ? words::kWouldDelete : words::kWouldQuarantine,
                              {printable(threat.record.path)}) +
                  "\n");
  }
}

int act(ThreatAction action, const ThreatOptions& options, Context& context) {
  if (options.everything == !options.numbers.empty())
    throw Failure(ErrorKind::kUsage, context.say(words::kNumbersOrAll));
  for (const std::string& word : options.numbers) (void)indexOf(word, SIZE_MAX, context);
  const bool deletes = action == ThreatAction::kDelete;
  const bool asks = deletes || options.everything;
  const FilePlaces places(askSettings(context.service()).quarantineDir);
  ScanDocument document = currentList(context, options, places);
  const std::vector<size_t> chosen = chosenOf(options, context, document);
  if (!chosen.empty() && asks) {
    // The pipe is not held while somebody thinks.
    context.service().letGo();
    context.confirm(context.say(deletes ? words::kDeleteQuestion : words::kQuarantineQuestion,
                                {countText(chosen.size(), words::kFiles, context.language())}));
  }
  Json items = Json::array();
  for (const size_t index : chosen) {
    ReportedThreat& threat = document.threats[index];
    // The list may have changed while the question stood there; the record itself is what is decided on.
    decide(context, action, options.force, places, std::to_string(threat.number), threat);
    tellDecision(context, action, threat);
    items.push_back(threatJson(threat));
  }
  context.service().letGo();
  if (chosen.empty() && options.everything)
    context.print(std::string(context.say(words::kNothingToDo)) + "\n");
  context.document("action", {{"action", threatActionName(action)}, {"items", items}});
  return context.exitCode(kExitDone);
}

void addDecision(Command& group, const char* name, const Text& help, ThreatAction action,
                 const std::shared_ptr<ThreatOptions>& options, const char* example, const Text& what) {
  group.add(name, help, [options, action](Context& context) { return act(action, *options, context); })
      .arguments("N", options->numbers, words::kThreatNumbers, /*required=*/false)
      .flag("--all", options->everything, words::kThreatsAllHelp)
      .choice("--min-severity", {"medium", "high", "critical"}, options->minSeverity, words::kMinSeverityHelp)
      .flag("--force", options->force, words::kForceWindowsHelp)
      .example(example, what)
      .note(words::kThreatsNote);
}

}  // namespace

void addThreatCommands(Command& root) {
  const auto options = std::make_shared<ThreatOptions>();
  const auto run = [options](Context& context) { return list(*options, context); };
  const std::vector<std::string> levels = {"medium", "high", "critical"};
  Command& group = root.add("threats", words::kThreatsHelp, run);
  // `threats` alone lists too; the --all of a decision is another one.
  group.flag("--all", options->showAll, words::kShowAllHelp)
      .choice("--fail-on", levels, options->failOn, words::kFailOnHelp)
      .example("korvelctl threats", words::kThreatsListExample);
  group.add("list", words::kThreatsListHelp, run)
      .flag("--all", options->showAll, words::kShowAllHelp)
      .example("korvelctl threats list --all", words::kThreatsListAllExample);
  addDecision(group, "quarantine", words::kThreatsQuarantineHelp, ThreatAction::kQuarantine, options,
              "korvelctl threats quarantine 1 3", words::kThreatsQuarantineExample);
  addDecision(group, "delete", words::kThreatsDeleteHelp, ThreatAction::kDelete, options,
              "korvelctl threats delete --all --min-severity critical --dry-run",
              words::kThreatsDeleteExample);
}

}  // namespace korvel::ctl

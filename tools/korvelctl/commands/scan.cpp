// scan, wait, cancel and progress.
#include <algorithm>

#include "base/clock.h"
#include "base/files.h"
#include "base/long_path.h"
#include "base/sizes.h"
#include "base/text.h"
#include "base/utf.h"
#include "base/version.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/report_words.h"
#include "korvelctl/cli/words/scan_words.h"
#include "korvelctl/cli/words/threat_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/commands/decide.h"
#include "korvelctl/commands/follow.h"
#include "korvelctl/machine/computer.h"
#include "korvelctl/machine/console.h"
#include "korvelctl/machine/drives.h"
#include "korvelctl/machine/known_folders.h"
#include "korvelctl/machine/whole_path.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/progress.h"
#include "korvelctl/render/scan_report.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr uint64_t kMostListBytes = 16 * kMiB;

struct ScanOptions {
  std::vector<std::string> targets;
  std::string from;
  bool detach = false;
  bool all = false;
  bool force = false;
  bool gentle = false;
  std::string action = "report";
  std::string minSeverity = "high";
  std::string failOn = "high";
  std::string progress = "auto";
  std::vector<std::string> reports;
  uint64_t maxMinutes = 0;
};

ProgressStyle styleOf(const std::string& word) {
  if (word == "bar") return ProgressStyle::kBar;
  if (word == "lines") return ProgressStyle::kLines;
  return word == "none" ? ProgressStyle::kNone : ProgressStyle::kAuto;
}

/// Refuses files and missing folders, for which the service would scan nothing without an error.
std::wstring folderForService(const std::string& given, Context& context) {
  const std::wstring whole = wholePath(given, context.language());
  const DWORD attributes = ::GetFileAttributesW(forFileApi(whole).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES)
    throw Failure(ErrorKind::kUsage, context.say(words::kTargetMissing, {printable(whole)}), {},
                  ::GetLastError());
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    throw Failure(ErrorKind::kUsage, context.say(words::kTargetIsFile, {printable(whole)}),
                  context.say(words::kTargetIsFileAdvice, {printable(whole)}));
  }
  const ServicePath seen = pathForService(whole);
  if (seen.outcome == DriveOutcome::kHidden)
    throw Failure(ErrorKind::kUsage, context.say(words::kTargetHidden, {printable(whole)}));
  if (seen.outcome == DriveOutcome::kShare)
    context.note("korvelctl: " + context.say(words::kTargetShare, {printable(seen.path)}) + "\n");
  return seen.path;
}

/// The lines of a list of folders; empty ones are skipped.
std::vector<std::string> linesOf(const std::string& from, Context& context) {
  std::optional<std::string> text;
  if (from == "-") {
    text = readStandardInput();
  } else {
    std::string bytes;
    if (readWholeFile(wholePath(from, context.language()), bytes, kMostListBytes)) text = bytes;
  }
  if (!text) throw Failure(ErrorKind::kUsage, context.say(words::kFromUnreadable, {printable(from)}));
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  std::string_view rest = *text;
  if (rest.starts_with(kMark)) rest.remove_prefix(kMark.size());
  std::vector<std::string> lines;
  LineReader reader(rest);
  for (std::string_view line; reader.next(line);) {
    const std::string_view folder = trimmed(line, "\r");
    if (!folder.empty()) lines.emplace_back(folder);
  }
  return lines;
}

struct Targets {
  std::string scope;  ///< "quick", "full", "user" or "custom"
  ipc::StartScanRequest request;
};

Targets targetsOf(const ScanOptions& options, Context& context) {
  std::vector<std::string> words = options.targets;
  if (!options.from.empty()) {
    for (std::string& line : linesOf(options.from, context)) words.push_back(std::move(line));
  }
  if (words.empty()) throw Failure(ErrorKind::kUsage, context.say(words::kNoTargets));
  Targets targets;
  for (const char* scope : {"quick", "full", "user"}) {
    if (std::find(options.targets.begin(), options.targets.end(), scope) == options.targets.end()) continue;
    if (words.size() > 1) throw Failure(ErrorKind::kUsage, context.say(words::kScopeAlone, {scope}));
    targets.scope = scope;
  }
  targets.request.scope = ScanScope::kCustom;
  if (targets.scope == "quick") targets.request.scope = ScanScope::kQuick;
  if (targets.scope == "full") targets.request.scope = ScanScope::kFull;
  if (targets.scope == "user") {
    // A folder that was moved to a drive of the session alone is one that the service cannot reach.
    for (const std::wstring& folder : userFolders()) {
      const ServicePath seen = pathForService(folder);
      if (seen.outcome != DriveOutcome::kHidden) targets.request.targets.push_back(seen.path);
    }
    if (targets.request.targets.empty()) throw Failure(ErrorKind::kUsage, context.say(words::kNoUserFolders));
  }
  if (!targets.scope.empty()) return targets;
  targets.scope = "custom";
  for (const std::string& word : words) targets.request.targets.push_back(folderForService(word, context));
  return targets;
}

std::string targetsText(const Targets& targets) {
  std::string text;
  for (const std::wstring& target : targets.request.targets)
    text += (text.empty() ? "" : ", ") + printable(target);
  return text.empty() ? targets.scope : text;
}

Json targetsJson(const Targets& targets) {
  Json list = Json::array();
  for (const std::wstring& target : targets.request.targets) list.push_back(toUtf8(target));
  return list;
}

/// What can be refused before anything starts.
void checkOptions(const ScanOptions& options, Context& context) {
  for (const std::string& report : options.reports) {
    if (!reportFormOf(report))
      throw Failure(ErrorKind::kUsage, context.say(words::kReportForm, {printable(report)}));
  }
  if (threatActionOf(options.action) == ThreatAction::kDelete && !context.canConfirm())
    throw Failure(ErrorKind::kUsage, context.say(words::kAskBeforeDelete));
}

void decideOnAll(const ScanOptions& options, Context& context, const FilePlaces& places,
                 ScanDocument& document) {
  const ThreatAction action = threatActionOf(options.action);
  if (action == ThreatAction::kReport || document.outcome == ScanOutcome::kLost) return;
  std::vector<ReportedThreat*> chosen;
  for (ReportedThreat& threat : document.threats) {
    if (!threat.inQuarantineStore && threat.record.severity >= severityOption(options.minSeverity))
      chosen.push_back(&threat);
  }
  if (chosen.empty()) return;
  if (action == ThreatAction::kDelete) {
    context.confirm(
        context.say(words::kDeleteQuestion, {countText(chosen.size(), words::kFiles, context.language())}));
  }
  for (ReportedThreat* threat : chosen)
    decide(context, action, options.force, places, toUtf8(threat->record.path), *threat);
}

void writeReports(const std::vector<std::string>& reports, Context& context, const ScanDocument& document) {
  for (const std::string& name : reports) {
    const std::string bytes = reportFile(document, *reportFormOf(name), context.look());
    std::wstring path;
    try {
      path = wholePath(name, context.language());
    } catch (const Failure& failure) {
      context.report(name, failure);
      continue;
    }
    const UniqueHandle file(::CreateFileW(forFileApi(path).c_str(), GENERIC_WRITE, /*share=*/0,
                                          /*security=*/nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                                          /*template=*/nullptr));
    if (!file || !writeAll(file.get(), bytes)) {
      context.report(name, Failure(ErrorKind::kIo, context.say(words::kReportFailed), {}, ::GetLastError()));
      continue;
    }
    context.note(context.say(words::kReportWritten, {printable(path)}) + "\n");
  }
}

int exitOf(const Context& context, const ScanDocument& document) {
  if (foundSomething(document)) return context.exitCode(kExitFound);
  if (document.outcome == ScanOutcome::kLost) return context.exitCode(kExitProtocol);
  return context.exitCode(document.outcome == ScanOutcome::kCompleted ? kExitDone : kExitIncomplete);
}

/// Follows the scan and does all that comes after it.
int followAndReport(const ScanOptions& options, Context& context, const Targets& targets,
                    std::vector<ReportedEvent> events = {}) {
  ScanDocument document;
  document.events = std::move(events);
  document.toolVersion = kServiceVersion;
  document.host = computerName();
  document.commandLine = context.commandLine();
  document.scope = targets.scope;
  document.targets = targets.request.targets;
  document.startedUtc = unixSecondsNow();
  document.failOn = severityOption(options.failOn);
  followScan(context,
             {.targets = targets.request.scope == ScanScope::kCustom ? targets.request.targets
                                                                     : std::vector<std::wstring>(),
              .progress = styleOf(options.progress),
              .gentle = options.gentle,
              .maxMinutes = options.maxMinutes},
             document);
  try {
    if (document.outcome != ScanOutcome::kLost) {
      const FilePlaces places(askSettings(context.service()).quarantineDir);
      markStoredFiles(places, document.threats, document.events);
      decideOnAll(options, context, places, document);
      lookAtStates(context, document.threats);
    }
  } catch (const Failure& failure) {
    // The result of the scan must not be lost with a question that was answered no.
    context.report("scan", failure);
  }
  context.service().letGo();
  document.errors = context.errors();
  writeReports(options.reports, context, document);
  document.errors = context.errors();
  if (context.look().mode == OutputMode::kCsv)
    context.print(scanCsv(document));
  else
    context.print(scanText(document, context.look(), options.all));
  context.document("scan", scanJson(document));
  return exitOf(context, document);
}

int scan(const ScanOptions& options, Context& context) {
  checkOptions(options, context);
  const Targets targets = targetsOf(options, context);
  const bool decides = threatActionOf(options.action) != ThreatAction::kReport;
  if (context.global().dryRun && !decides) {
    context.print(context.say(words::kWouldScan, {targetsText(targets)}) + "\n");
    context.document("scan",
                     {{"scope", targets.scope}, {"targets", targetsJson(targets)}, {"started", false}});
    return kExitDone;
  }
  context.service().ask(Opcode::kStartScan, ipc::encodeStartScan(targets.request));
  const Json start{{"scope", targets.scope}, {"targets", targetsJson(targets)}, {"started", true}};
  if (options.detach) {
    context.print(std::string(context.say(words::kScanStarted)) + "\n");
    context.document("scan", start);
    return kExitDone;
  }
  context.line("start", start);
  return followAndReport(options, context, targets);
}

int wait(const ScanOptions& options, Context& context) {
  std::vector<ReportedEvent> events;
  if (!askStatus(context.service()).scanRunning) {
    const ScanReport report = askProgress(context.service());
    keepEvents(context, report.events, events, nullptr);
    if (report.progress.phase.empty() && events.empty())
      throw Failure(ErrorKind::kRefused, context.say(words::kNoScanEver));
  }
  return followAndReport(options, context, {"unknown", {}}, std::move(events));
}

int cancel(Context& context) {
  const bool dryRun = context.global().dryRun;
  const bool running = askStatus(context.service()).scanRunning;
  if (running && !dryRun) context.service().ask(Opcode::kCancelScan);
  const Text& said = !running ? words::kNothingToCancel : dryRun ? words::kWouldCancel : words::kCancelAsked;
  context.print(std::string(context.say(said)) + "\n");
  context.document("scan", {{"action", "cancel"}, {"was_running", running}, {"done", running && !dryRun}});
  return kExitDone;
}

int progress(Context& context) {
  const ScanReport report = askProgress(context.service());
  context.service().letGo();
  std::vector<ReportedEvent> events;
  keepEvents(context, report.events, events, nullptr);
  Json list = Json::array();
  for (const ReportedEvent& seen : events) {
    list.push_back(eventJson(seen));
    context.print(context.say(words::kEventSeen, {severityText(seen.event.severity, context.language()),
                                                  printable(seen.event.name), printable(seen.event.path)}) +
                  "\n");
  }
  const std::string line =
      report.scanning ? progressText(report.progress, ScanPace(), context.language(), context.look().columns)
                      : std::string(context.say(words::kNoScanRuns));
  context.print(line + "\n");
  Json json = progressJson(report.progress, report.scanning);
  json["events"] = list;
  context.document("scan", json);
  return kExitDone;
}

void addResultOptions(Command& command, ScanOptions& options) {
  const std::vector<std::string> levels = {"medium", "high", "critical"};
  command.flag("--all", options.all, words::kShowAllHelp)
      .texts("--report", "FILE", options.reports, words::kReportHelp)
      .choice("--fail-on", levels, options.failOn, words::kFailOnHelp)
      .choice("--action", {"report", "quarantine", "delete"}, options.action, words::kActionHelp)
      .choice("--min-severity", levels, options.minSeverity, words::kMinSeverityHelp)
      .flag("--force", options.force, words::kForceWindowsHelp)
      .number("--max-time", "MIN", options.maxMinutes, words::kMaxTimeHelp, 1, 100'000)
      .flag("--gentle", options.gentle, words::kGentleHelp)
      .choice("--progress", {"auto", "bar", "lines", "none"}, options.progress, words::kProgressStyleHelp);
}

}  // namespace

void addScanCommands(Command& root) {
  const auto options = std::make_shared<ScanOptions>();
  Command& scans =
      root.add("scan", words::kScanHelp, [options](Context& context) { return scan(*options, context); });
  scans.arguments("TARGET", options->targets, words::kScanTargets, /*required=*/false)
      .text("--from", "FILE", options->from, words::kFromHelp)
      .flag("--detach", options->detach, words::kDetachHelp);
  addResultOptions(scans, *options);
  scans.example("korvelctl scan quick", words::kScanExampleQuick)
      .example("korvelctl scan C:\\Users --report report.html", words::kScanExampleFolder)
      .example("korvelctl scan user --action quarantine", words::kScanExampleAction)
      .note(words::kScanNoteExtensions)
      .note(words::kScanNoteRecursive)
      .note(words::kScanNoteDryRun);

  const auto waits = std::make_shared<ScanOptions>();
  Command& waiting =
      root.add("wait", words::kWaitHelp, [waits](Context& context) { return wait(*waits, context); });
  addResultOptions(waiting, *waits);
  waiting.example("korvelctl wait", words::kWaitExample).note(words::kWaitNote);
  root.add("cancel", words::kCancelHelp, cancel).example("korvelctl cancel", words::kCancelExample);
  root.add("progress", words::kProgressHelp, progress).example("korvelctl progress", words::kProgressExample);
}

}  // namespace korvel::ctl

// watch: real-time detections as they come.
#include <optional>

#include "base/sizes.h"
#include "base/utf.h"
#include "base/win.h"
#include "hash/file_digest.h"
#include "korvelctl/cli/context.h"
#include "korvelctl/cli/exit_codes.h"
#include "korvelctl/cli/words/threat_words.h"
#include "korvelctl/cli/words/watch_words.h"
#include "korvelctl/commands/commands.h"
#include "korvelctl/commands/decide.h"
#include "korvelctl/commands/follow.h"
#include "korvelctl/machine/event_log.h"
#include "korvelctl/machine/interrupt.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/scan_report.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

/// From this interval on, the pipe is given away after each look.
constexpr uint64_t kLongInterval = 4;
constexpr size_t kHashPieceBytes = kMiB;

struct WatchOptions {
  bool apply = false;
  bool eventLog = false;
  bool force = false;
  uint64_t intervalSeconds = 5;
  uint64_t forSeconds = 0;
  std::string minSeverity = "high";
  std::string failOn = "high";
};

EventThreat forEventLog(const ReportedEvent& seen) {
  return {seen.event.path,     seen.event.name, seen.event.code,
          seen.event.severity, seen.event.size, seen.seenUtc};
}

class Watcher {
 public:
  Watcher(Context& context, const WatchOptions& options) : context_(context), options_(options) {
    document_.failOn = severityOption(options.failOn);
  }

  int run() {
    catchInterrupt();
    version_ = askStatus(context_.service()).serviceVersion;
    if (options_.eventLog) openEventLog();
    context_.line("start", {{"service", version_}});
    context_.note(std::string(context_.say(words::kWatching)) + "\n");
    if (context_.look().mode == OutputMode::kCsv) context_.print("seen_utc,severity,name,path\r\n");
    const ULONGLONG start = ::GetTickCount64();
    const auto over = [&] {
      return options_.forSeconds != 0 && ::GetTickCount64() - start >= options_.forSeconds * 1000;
    };
    do {
      look();
    } while (!over() && !sleepUnlessInterrupted(pauseMs(::GetTickCount64() - start)));
    if (!lost_) look();
    context_.service().letGo();
    log(watchEnded(document_.events.size()));
    return end();
  }

 private:
  unsigned pauseMs(uint64_t passedMs) const {
    const uint64_t interval = options_.intervalSeconds * 1000;
    if (options_.forSeconds == 0) return static_cast<unsigned>(interval);
    const uint64_t left = options_.forSeconds * 1000 - passedMs;
    return static_cast<unsigned>(left < interval ? left : interval);
  }

  void openEventLog() {
    log_.emplace();
    if (!eventSourceRegistered())
      context_.note("korvelctl: " + std::string(context_.say(words::kEventLogSource)) + "\n");
    log(watchStarted(version_));
  }

  void log(const EventRecord& record) {
    if (!log_) return;
    const uint32_t code = log_->write(record);
    if (code == ERROR_SUCCESS || logFailed_) return;
    logFailed_ = true;  // one complaint is enough
    context_.report("event_log", Failure(ErrorKind::kIo, context_.say(words::kEventLogFailed), {}, code));
  }

  /// A service that stops is waited for: watching goes on when it is back.
  void look() {
    try {
      const ScanReport report = askProgress(context_.service());
      if (lost_) comeBack();
      take(report.events);
      if (options_.intervalSeconds >= kLongInterval)
        context_.service().letGo();
      else
        context_.service().breathe();
    } catch (const Failure& failure) {
      context_.service().letGo();
      if (!lost_) {
        context_.note(context_.say(words::kWatchLost, {printable(std::string_view(failure.what()))}) + "\n");
        log(serviceLost(failure.what()));
      }
      lost_ = true;
      context_.service().setPatience(0);
    }
  }

  void comeBack() {
    lost_ = false;
    version_ = askStatus(context_.service()).serviceVersion;
    context_.note(context_.say(words::kWatchBack, {printable(version_)}) + "\n");
    log(serviceBack(version_));
  }

  void take(const std::vector<ThreatEvent>& events) {
    if (events.empty()) return;
    const size_t first = document_.events.size();
    const SettingsFields settings = askSettings(context_.service());
    const FilePlaces places(settings.quarantineDir);
    for (const ThreatEvent& event : events) document_.events.push_back(seenNow(event));
    std::vector<ReportedThreat> none;
    markStoredFiles(places, none, document_.events);
    for (size_t i = first; i < document_.events.size(); ++i) {
      const ReportedEvent& seen = document_.events[i];
      tell(seen);
      if (!seen.inQuarantineStore) log(threatFound(forEventLog(seen)));
      if (options_.apply && settings.quarantineOnDetect) apply(places, seen);
    }
  }

  void tell(const ReportedEvent& seen) {
    context_.line("event", eventJson(seen));
    const Look look = context_.look();
    if (look.mode == OutputMode::kCsv) {
      context_.print(isoUtc(seen.seenUtc) + "," + severityName(seen.event.severity) + "," +
                     csvField(seen.event.name) + "," + csvField(toUtf8(seen.event.path)) + "\r\n");
      return;
    }
    context_.print(timeText(seen.seenUtc, look) + "  " +
                   colored(severityText(seen.event.severity, look.language), seen.event.severity, look) +
                   "  " + printable(seen.event.name) + "  " + printable(seen.event.path) + "\n");
  }

  /// An event has no digest, but the record in the quarantine is to have one.
  void apply(const FilePlaces& places, const ReportedEvent& seen) {
    if (seen.inQuarantineStore || seen.event.severity < severityOption(options_.minSeverity)) return;
    ReportedThreat threat;
    static_cast<ThreatEvent&>(threat.record) = seen.event;
    threat.record.sha256 = hash::sha256File(seen.event.path, kHashPieceBytes);
    const size_t errors = context_.errors().size();
    decide(context_, ThreatAction::kQuarantine, options_.force, places, toUtf8(seen.event.path), threat);
    if (context_.errors().size() == errors) {
      if (context_.look().mode != OutputMode::kCsv) tellQuarantined(seen.event.path);
      if (!context_.global().dryRun) log(threatQuarantined(forEventLog(seen)));
    } else {
      log(actionFailed(forEventLog(seen), threat.result));
    }
    actions_.push_back(threatJson(threat));
  }

  void tellQuarantined(const std::wstring& path) {
    const Text& told = context_.global().dryRun ? words::kWouldQuarantine : words::kDidQuarantine;
    context_.print("  " + context_.say(told, {printable(path)}) + "\n");
  }

  int end() {
    Json events = Json::array();
    for (const ReportedEvent& seen : document_.events) events.push_back(eventJson(seen));
    const std::string count = numberText(document_.events.size(), context_.language());
    context_.note(context_.say(words::kWatchEnd, {count}) + "\n");
    context_.document("events", {{"service", version_},
                                 {"fail_on", severityName(document_.failOn)},
                                 {"found", foundSomething(document_)},
                                 {"events", events},
                                 {"actions", actions_}});
    return context_.exitCode(foundSomething(document_) ? kExitFound : kExitDone);
  }

  Context& context_;
  const WatchOptions& options_;
  ScanDocument document_;  ///< its events, for the common question whether something was found
  Json actions_ = Json::array();
  std::string version_;
  std::optional<EventLog> log_;
  bool logFailed_ = false;
  bool lost_ = false;
};

}  // namespace

void addWatchCommand(Command& root) {
  const auto options = std::make_shared<WatchOptions>();
  const std::vector<std::string> levels = {"medium", "high", "critical"};
  root.add("watch", words::kWatchHelp,
           [options](Context& context) { return Watcher(context, *options).run(); })
      .flag("--apply", options->apply, words::kWatchApplyHelp)
      .choice("--min-severity", levels, options->minSeverity, words::kWatchMinSeverityHelp)
      .flag("--force", options->force, words::kForceWindowsHelp)
      .number("--interval", "S", options->intervalSeconds, words::kWatchIntervalHelp, 1, 3'600)
      .number("--for", "S", options->forSeconds, words::kWatchForHelp, 1, 31'536'000)
      .flag("--eventlog", options->eventLog, words::kWatchEventLogHelp)
      .choice("--fail-on", levels, options->failOn, words::kFailOnHelp)
      .example("korvelctl watch", words::kWatchExample)
      .example("korvelctl watch --eventlog --quiet", words::kWatchExampleEventLog)
      .note(words::kWatchNote);
}

}  // namespace korvel::ctl

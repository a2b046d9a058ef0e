#include "korvelctl/commands/follow.h"

#include <algorithm>

#include "base/clock.h"
#include "base/win.h"
#include "korvelctl/cli/words/scan_words.h"
#include "korvelctl/cli/words/threat_words.h"
#include "korvelctl/machine/interrupt.h"
#include "korvelctl/machine/service_state.h"
#include "korvelctl/model/scan_outcome.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/scan_report.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr unsigned kPollMs = 200;
constexpr unsigned kGentlePollMs = 2'000;
constexpr uint64_t kNewThreatsMs = 2'000;
constexpr uint64_t kProgressLineMs = 1'000;
constexpr uint64_t kCancelPatienceSeconds = 3;
constexpr uint64_t kEndAfterCancelMs = 10'000;

/// One scan from now to its end.
class Follower {
 public:
  Follower(Context& context, const FollowOptions& options, ScanDocument& document)
      : context_(context),
        options_(options),
        document_(document),
        line_(context.errorOutput(), context.global().documents() ? ProgressStyle::kNone : options.progress,
              context.global()),
        startMs_(::GetTickCount64()) {}

  void run() {
    catchInterrupt();
    try {
      options_.gentle ? waitGently() : waitWithProgress();
      finish();
    } catch (const Failure& failure) {
      line_.clear();
      lose(failure);
    }
    line_.clear();
    conclude();
  }

 private:
  uint64_t followedMs() const { return ::GetTickCount64() - startMs_; }

  void waitWithProgress() {
    for (;;) {
      see(askOnceMore());
      if (!report_.scanning || watch_.replaced()) return;
      if (cancelSent_ && followedMs() - cancelledAtMs_ > kEndAfterCancelMs) return;
      line_.show(report_.progress, followedMs());
      tellProgress();
      tellNewThreats();
      cancelWhereWanted();
      context_.service().breathe();
      sleep(kPollMs);
    }
  }

  void waitGently() {
    for (;;) {
      const EngineStatus status = askStatus(context_.service());
      if (!status.scanRunning) break;
      if (cancelSent_ && followedMs() - cancelledAtMs_ > kEndAfterCancelMs) break;
      context_.service().letGo();
      cancelWhereWanted();
      if (cancelSent_) context_.service().letGo();
      sleep(cancelSent_ ? kPollMs : kGentlePollMs);
    }
    see(askProgress(context_.service()));
  }

  /// Once, a connection that broke between two polls is made again: asking changes nothing.
  ScanReport askOnceMore() {
    try {
      return askProgress(context_.service());
    } catch (const Failure& failure) {
      if (failure.kind() != ErrorKind::kLost) throw;
      context_.service().letGo();
      return askProgress(context_.service());
    }
  }

  void see(ScanReport report) {
    report_ = std::move(report);
    watch_.see(report_, followedMs());
    keepEvents(context_, report_.events, document_.events, &line_);
  }

  void sleep(unsigned milliseconds) {
    if (cancelSent_)
      ::Sleep(milliseconds);
    else
      (void)sleepUnlessInterrupted(milliseconds);
  }

  void cancelWhereWanted() {
    const bool tooLong = options_.maxMinutes != 0 && followedMs() > options_.maxMinutes * 60'000;
    if (cancelSent_ || (!interrupted() && !tooLong)) return;
    cancelSent_ = true;
    cancelledAtMs_ = followedMs();
    if (interrupted()) {
      line_.clear();
      context_.note(std::string(context_.say(words::kCancelling)) + "\n");
    }
    context_.service().setPatience(kCancelPatienceSeconds);
    context_.service().ask(Opcode::kCancelScan);
  }

  void tellProgress() {
    if (context_.global().mode != OutputMode::kNdjson || followedMs() - toldProgressMs_ < kProgressLineMs)
      return;
    toldProgressMs_ = followedMs();
    context_.line("progress", progressJson(report_.progress, report_.scanning));
  }

  /// Threats as they come, where somebody sees them come.
  void tellNewThreats() {
    const bool lines = context_.global().mode == OutputMode::kNdjson;
    if (resultsTooLarge_ || (!lines && !line_.drawsBar())) return;
    if (followedMs() - askedThreatsMs_ < kNewThreatsMs) return;
    askedThreatsMs_ = followedMs();
    try {
      tell(askResults(context_.service()));
    } catch (const Failure& failure) {
      // Either the list is beyond a reply, which is told at the end, or the next question fails as well.
      if (failure.kind() != ErrorKind::kLost) throw;
      context_.service().letGo();
      resultsTooLarge_ = true;
    }
  }

  void tell(const std::vector<ThreatRecord>& threats) {
    for (; told_ < threats.size(); ++told_) {
      const ThreatRecord& threat = threats[told_];
      ReportedThreat reported;
      reported.number = told_ + 1;
      reported.record = threat;
      context_.line("threat", threatJson(reported));
      if (line_.drawsBar() && threat.severity >= kSeverityHigh) {
        const Language language = context_.language();
        line_.interrupt(severityText(threat.severity, language) + "  " + printable(threat.name) + "  " +
                        printable(threat.path) + "\n");
      }
    }
  }

  /// The results belong to the progress that was just seen: the connection has not been given away since.
  void finish() {
    document_.elapsedMs = followedMs();
    ended_ = !report_.scanning;
    const std::vector<ThreatRecord> threats = resultsAtTheEnd();
    const EngineStatus status = askStatus(context_.service());
    document_.serviceVersion = status.serviceVersion;
    document_.signatureCount = status.signatureCount;
    document_.signatureVersion = status.signatureVersion;
    const SettingsFields settings = askSettings(context_.service());
    document_.lastLiveUpdateUtc = settings.lastLiveUpdateUtc;
    if (!options_.targets.empty() && !allBelow(threats, options_.targets)) lost_ = true;
    if (watch_.replaced()) lost_ = true;
    if (lost_) return;
    if (context_.global().mode == OutputMode::kNdjson) tell(threats);
    for (size_t i = 0; i < threats.size(); ++i) {
      ReportedThreat reported;
      reported.number = i + 1;
      reported.record = threats[i];
      reported.action = "report";
      document_.threats.push_back(std::move(reported));
    }
  }

  /// A list that is beyond the limit of a reply ends the connection, but neither the service nor the scan.
  std::vector<ThreatRecord> resultsAtTheEnd() {
    try {
      return askResults(context_.service());
    } catch (const Failure& failure) {
      if (failure.kind() != ErrorKind::kLost) throw;
      context_.service().letGo();
      (void)askStatus(context_.service());
      context_.report("threats", failure);
      return {};
    }
  }

  /// The service cannot be asked any more. What was seen so far stays.
  void lose(const Failure& failure) {
    document_.elapsedMs = followedMs();
    lost_ = true;
    const bool ended = failure.kind() != ErrorKind::kBusy && failure.kind() != ErrorKind::kTimeout &&
                       failure.kind() != ErrorKind::kDenied;
    const ServiceState state = serviceState();
    const bool goesOn = !ended || state == ServiceState::kRunning;
    const Text& told = goesOn ? words::kScanGoesOn : words::kServiceEndedMeanwhile;
    context_.report("scan",
                    Failure(goesOn ? failure.kind() : ErrorKind::kLost,
                            std::string(failure.what()) + "; " + context_.say(told), {}, failure.win32()));
  }

  void conclude() {
    const ScanSummary& summary = report_.lastSummary;
    // A scan that did not come as far leaves the summary of the one before it.
    const bool own = ended_ && !lost_ && report_.progress.phase != scan_phase::kIdle &&
                     report_.progress.phase != scan_phase::kFailed;
    document_.filesExamined = own ? summary.filesScanned : lost_ || ended_ ? 0 : report_.progress.filesDone;
    document_.bytesExamined = own ? summary.bytesScanned : lost_ || ended_ ? 0 : report_.progress.bytesDone;
    document_.filesTotal = lost_ || (ended_ && !own) ? 0 : report_.progress.filesTotal;
    if (own) {
      document_.threatCount = summary.threats;
      document_.suspiciousCount = summary.suspicious;
      document_.cancelledFlag = summary.cancelled;
      document_.elapsedMs = summary.elapsedMs;
    }
    const Conclusion conclusion =
        concluded({.phase = report_.progress.phase,
                   .filesDone = std::max(report_.progress.filesDone, own ? summary.filesScanned : 0),
                   .filesTotal = report_.progress.filesTotal,
                   .filesExamined = document_.filesExamined,
                   .lost = lost_,
                   .cancelled = cancelSent_});
    document_.outcome = conclusion.outcome;
    document_.outcomeBasis = conclusion.basis;
  }

  Context& context_;
  const FollowOptions& options_;
  ScanDocument& document_;
  ProgressLine line_;
  const uint64_t startMs_;
  ScanWatch watch_;
  ScanReport report_;
  bool ended_ = false;
  bool lost_ = false;
  bool cancelSent_ = false;
  uint64_t cancelledAtMs_ = 0;
  uint64_t toldProgressMs_ = 0;
  uint64_t askedThreatsMs_ = 0;
  size_t told_ = 0;
  bool resultsTooLarge_ = false;
};

}  // namespace

void followScan(Context& context, const FollowOptions& options, ScanDocument& document) {
  Follower(context, options, document).run();
}

ReportedEvent seenNow(const ThreatEvent& event) {
  ReportedEvent seen;
  seen.event = event;
  seen.seenUtc = unixSecondsNow();
  return seen;
}

void keepEvents(Context& context, const std::vector<ThreatEvent>& events, std::vector<ReportedEvent>& kept,
                ProgressLine* line) {
  const Language language = context.language();
  for (const ThreatEvent& event : events) {
    const ReportedEvent seen = seenNow(event);
    context.line("event", eventJson(seen));
    if (line != nullptr && line->drawsBar()) {
      line->interrupt(context.say(words::kEventSeen, {severityText(event.severity, language),
                                                      printable(event.name), printable(event.path)}) +
                      "\n");
    }
    kept.push_back(seen);
  }
}

}  // namespace korvel::ctl

#include "engine/simulation/simulated_service.h"

#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "base/byte_view.h"
#include "config/settings_text.h"
#include "engine/notify_records.h"
#include "engine/threat_naming.h"
#include "scan/scan_filter.h"

namespace korvel::test {
namespace {

// LoopTimes.
constexpr uint64_t kTickMs = 1'000;
constexpr uint64_t kSchedulePollMs = 60'000;
constexpr uint64_t kFirstWebShieldMs = 30'000;
constexpr uint64_t kWebShieldPeriodMs = kDay;

/// FILE_NOTIFY_INFORMATION for one name.
std::vector<uint8_t> notification(const std::wstring& name) {
  std::vector<uint8_t> bytes(12);
  storeLe32(&bytes[4], 3);
  storeLe32(&bytes[8], static_cast<uint32_t>(name.size() * 2));
  for (const wchar_t unit : name) {
    bytes.push_back(static_cast<uint8_t>(unit));
    bytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(unit) >> 8));
  }
  return bytes;
}

}  // namespace

Service::Service(WeekJournal& week, Machine& machine, Moments moments)
    : week_(week),
      machine_(machine),
      moments_(std::move(moments)),
      settings_([this](const SettingsFields& fields) {
        if (machine_.diskFails) return week_.happened("a save fails");
        machine_.settingsText = formatSettingsText(fields);
        week_.saved(fields);
      }) {
  SettingsFields fields;
  parseSettingsText(machine_.settingsText, fields);
  (void)settings_.replace(fields);
  if (week_.saved()) {
    week_.promise(settings_.get() == *week_.saved(),
                  "settings that were saved are in force after the next start");
  } else {
    save();
  }
  schedules_ = fields.scheduledScan;
  watches_ = fields.realTimeEnabled && fields.protectionEnabled;
  nextTick_ = machine_.time.awake() + kTickMs;
  updateDueBy_ = machine_.time.clock() + 61 * kSecond;
  if (schedules_) later(0, &Service::pollSchedule);
  shield_.restart(machine_.time.clock(), kFirstWebShieldMs);
  shieldDueBy_ = machine_.time.clock() + kFirstWebShieldMs;
  ++shieldLooks_;
  lookAtShield();
}

Service::~Service() {
  *alive_ = false;
  if (job_) job_->set_value(false);
}

void Service::later(uint64_t delayMs, void (Service::*act)()) {
  machine_.time.after(delayMs, [this, act, alive = alive_] {
    if (*alive) (this->*act)();
  });
}

void Service::save() {
  const bool fails = machine_.diskFails;
  const std::string before = machine_.settingsText;
  settings_.save();
  if (fails) {
    week_.promise(machine_.settingsText == before, "a failed save leaves the file as it was");
    return;
  }
  SettingsFields read;
  parseSettingsText(machine_.settingsText, read);
  week_.promise(read == settings_.get(), "a save writes what is in force");
}

void Service::tickUntil(uint64_t awake) {
  const uint64_t slept = machine_.time.clock() - machine_.time.awake();
  for (; nextTick_ <= awake && !ending(); nextTick_ += kTickMs) {
    const uint64_t now = nextTick_ + slept;
    if (!ticks_.tick(now)) {
      if (now > updateDueBy_) week_.broken("an update of the day is not missed");
      continue;
    }
    week_.promise(lastUpdate_ == 0 || now >= lastUpdate_ + kDay, "two updates of the day are a day apart");
    lastUpdate_ = now;
    updateDueBy_ = now + kDay + 3 * kSecond;
    machine_.time.setAwake(nextTick_);
    if (settings_.get().liveUpdates && !updateRuns_) automaticUpdate();
  }
}

/// One that comes due while the machine sleeps has its network to wait for.
void Service::afterSleep() {
  if (updateDueBy_ != UINT64_MAX) {
    updateDueBy_ = std::max(updateDueBy_, machine_.time.lastWake() + kMinute + 3 * kSecond);
  }
}

void Service::automaticUpdate() {
  week_.happened("an update of the day begins");
  updateRuns_ = true;
  later(machine_.chance.between(1, 90 * kSecond), &Service::updateEnds);
  // The thread of the ticks runs the update itself.
  nextTick_ += kSecond;
}

void Service::updateEnds() {
  if (!updateRuns_) return;
  updateRuns_ = false;
  if (ending() || !machine_.serverAnswers) return;
  const uint64_t now = machine_.time.unixMs() / kSecond;
  settings_.update([now](SettingsFields& fields) { fields.lastLiveUpdateUtc = now; });
  save();
  week_.happened("an update succeeds");
}

void Service::askForUpdate() {
  std::string error;
  auto outcome = std::make_shared<std::promise<bool>>();
  const bool busy = job_ != nullptr;
  const bool launched = update_.launch([] {},
                                       [outcome](std::string* jobError) {
                                         const bool succeeds = outcome->get_future().get();
                                         if (!succeeds) *jobError = "no answer";
                                         return succeeds;
                                       },
                                       &error);
  week_.promise(launched == !busy, "a job is refused exactly while one runs");
  if (!launched) return week_.happened("an update is refused");
  week_.promise(update_.lastError().empty(), "a job that begins has no failure");
  job_ = std::move(outcome);
  week_.happened("an update is asked for");
  later(machine_.chance.between(1, 60 * kSecond), &Service::jobEnds);
}

void Service::jobEnds() {
  if (!job_) return;
  const bool succeeds = machine_.serverAnswers && !ending();
  std::exchange(job_, nullptr)->set_value(succeeds);
  update_.join();
  week_.promise(!update_.busy(), "a job that has ended is not busy");
  week_.promise(update_.lastError() == (succeeds ? "" : "no answer"),
                "a job's failure is kept, and no other's");
  if (!succeeds) return week_.happened("an update fails");
  const uint64_t now = machine_.time.unixMs() / kSecond;
  settings_.update([now](SettingsFields& fields) { fields.lastLiveUpdateUtc = now; });
  save();
}

// --- scans ---

void Service::pollSchedule() {
  if (ending()) return;
  later(kSchedulePollMs + machine_.chance.below(40), &Service::pollSchedule);
  if (!window_.due(machine_.time.utc(), settings_.get().scheduledHour)) return;
  const uint64_t attempts = ++attempts_[machine_.time.day()];
  week_.promise(attempts == 1, "one daily scan a day");
  week_.promise(machine_.time.utc().hour == settings_.get().scheduledHour,
                "the daily scan keeps to its hour");
  week_.happened(startScan(/*scheduled=*/true) ? "a daily scan begins" : "a daily scan is skipped");
}

void Service::askForScan() {
  week_.happened(startScan(/*scheduled=*/false) ? "a scan begins" : "a scan is refused");
}

bool Service::startScan(bool scheduled) {
  const bool protection = settings_.get().protectionEnabled;
  const bool mayBegin = !processStop_ && !ending() && protection && !scan_;
  std::string error;
  if (!state_.begin(processStop_ || ending(), protection, &error)) {
    week_.promise(!mayBegin, "a scan that may begin does");
    week_.promise(!error.empty(), "a refusal has a text");
    return false;
  }
  week_.promise(!processStop_ && !ending(), "no scan begins after the stop");
  week_.promise(!scan_, "at most one scan runs");
  week_.promise(protection, "no scan begins while protection is off");
  week_.promise(state_.running() && state_.results().empty(), "a scan begins with nothing");
  if (machine_.chance.oneIn(40)) {  // no thread can be made
    state_.end();
    week_.happened("a scan gets no thread");
    return false;
  }
  scan_.emplace();
  scan_->began = machine_.time.awake();
  scan_->files = machine_.chance.oneIn(20) ? 0 : machine_.chance.between(1, scheduled ? 60 : 30);
  later(machine_.chance.below(50), &Service::scanCounts);
  return true;
}

void Service::scanCounts() {
  if (scan_->files == 0) {
    state_.endEarly(scan_phase::kIdle, /*cancelled=*/false);
    state_.end();
    scan_.reset();
    return week_.happened("a scan has no targets");
  }
  state_.setPhase(scan_phase::kCounting);
  later(machine_.chance.between(1, 5 * kSecond), &Service::scanFinds);
}

void Service::scanFinds() {
  ScanProgressInfo counted;
  counted.filesTotal = scan_->files;
  counted.phase = scan_phase::kCounting;
  state_.showCounted(counted);
  if (ending()) return scanEnds();
  scan_->cancel.emplace(stop_.get_token());
  state_.becomeCancellable([this] { scan_->cancel->request(); });
  later(machine_.chance.between(1, 200), &Service::scanFile);
}

void Service::scanFile() {
  if (scan_->cancel->token().stop_requested()) {
    week_.promise(scan_->cancelled || ending(), "only a cancel or the stop ends a scan");
    return scanEnds();
  }
  week_.promise(!scan_->cancelled, "a cancel that came in time ends the scan");
  scan_->done += 1;
  ScanProgressInfo info;
  info.filesDone = scan_->done;
  info.phase = scan_phase::kScanning;
  info.currentPath = std::wstring(kWatchedRoot) + L"\\" + std::to_wstring(scan_->done);
  state_.showProgress(info);
  scan_->summary.filesScanned += 1;
  if (machine_.chance.oneIn(8)) {
    FileVerdict verdict;
    verdict.path = info.currentPath;
    verdict.severity = kSeverityHigh;
    verdict.size = scan_->done;
    state_.addResult(svc::makeThreatRecord(verdict));
    scan_->summary.threats += 1;
    scan_->listed += 1;
  }
  if (scan_->done == scan_->files) return scanEnds();
  later(machine_.chance.between(1, machine_.chance.oneIn(10) ? 60 * kSecond : kSecond), &Service::scanFile);
}

void Service::scanEnds() {
  state_.notCancellable();
  if (scan_->early && !ending())
    week_.promise(scan_->done == scan_->files, "a scan with a lost cancel runs to its end");
  state_.finish(scan_->summary, machine_.time.awake() - scan_->began);
  const uint64_t now = machine_.time.unixMs() / kSecond;
  settings_.update([this, now](SettingsFields& fields) {
    fields.lastScanUtc = now;
    fields.lastThreatCount = scan_->summary.threats;
  });
  save();
  state_.end();
  const ScanReport report = state_.report();
  week_.promise(
      !report.scanning && report.progress.phase == scan_phase::kCancelled && report.lastSummary.cancelled,
      "a scan that was carried out ends as cancelled");
  week_.promise(report.lastSummary.filesScanned == scan_->done, "a report has the outcome of its scan");
  week_.promise(scan_->done == 0 || report.progress.filesTotal == scan_->files, "the totals stay");
  week_.promise(state_.results().size() == scan_->listed, "every detection of a scan is listed once");
  week_.happened(scan_->done == scan_->files ? "a scan runs to its end" : "a scan is cut");
  scan_.reset();
}

void Service::cancelScan() {
  if (scan_ && !scan_->cancel) {
    scan_->early = true;
  } else if (scan_ && !scan_->early) {
    scan_->cancelled = true;
  }
  (void)state_.cancel();
  week_.happened("a scan is cancelled");
}

// --- watcher ---

FileVerdict Service::verdictOn(const std::wstring& path) const {
  const FileVersion& file = machine_.files.at(path);
  FileVerdict verdict;
  verdict.path = path;
  verdict.held = machine_.time.awake() < file.heldUntil;
  verdict.lastWriteTime = file.serial;
  verdict.severity = static_cast<Severity>(verdict.held ? file.nameSeverity : file.contentSeverity);
  return verdict;
}

void Service::notify(const std::wstring& name) {
  for (const std::wstring& changed : svc::changedNames(ByteView(notification(name)))) {
    const std::wstring path = std::wstring(kWatchedRoot) + L"\\" + changed;
    if (!shouldScan(path, {})) {
      week_.happened("a change is passed over");
      continue;
    }
    const FileVerdict verdict = verdictOn(path);
    FileVersion& file = machine_.files.at(path);
    file.notifications += 1;
    file.lastNotification = machine_.time.awake();
    file.waited = file.waited || verdict.held;
    judge(verdict, held_.afterNotification(verdict, machine_.time.clock()));
  }
  armTries();
}

void Service::judge(const FileVerdict& verdict, bool isJudged) {
  if (!isJudged || verdict.severity < kSeverityMedium) return;
  ThreatRecord record = svc::makeThreatRecord(verdict);
  record.size = ++added_;
  detections_.add(std::move(record));
  FileVersion& file = machine_.files.at(verdict.path);
  (verdict.held ? file.nameEvents : file.contentEvents) += 1;
  week_.happened(verdict.held ? "a held file is reported by its name" : "a changed file is reported");
}

void Service::armTries() {
  const uint32_t wait = held_.untilNextDue(machine_.time.clock());
  if (wait == HeldFiles::kNoTry) return;
  machine_.time.after(wait, [this, number = ++tryNumber_, alive = alive_] {
    if (*alive && number == tryNumber_) tryHeldFile();
  });
}

void Service::tryHeldFile() {
  if (ending()) return;
  if (const std::optional<HeldFiles::Try> due = held_.nextDue(machine_.time.clock())) {
    week_.happened("a held file is tried");
    const FileVerdict verdict = verdictOn(due->path);
    judge(verdict, held_.afterTry(verdict, due->last, machine_.time.clock()));
  }
  armTries();
}

void Service::takeEvents() {
  const uint64_t fault = machine_.chance.below(6);
  ScanReport report = state_.report();
  const auto deliver = [&]() -> size_t {
    if (fault == 0 && !report.events.empty()) {
      week_.happened("a reply is lost");
      throw std::bad_alloc();
    }
    const size_t taken = fault == 1 ? report.events.size() / 2 : report.events.size();
    for (size_t i = 0; i < taken; ++i) {
      week_.promise(report.events[i].size == delivered_ + 1, "every event reaches a client once, in order");
      delivered_ = report.events[i].size;
      week_.happened("an event is delivered");
    }
    return taken;
  };
  try {
    detections_.handOut(report.events, deliver);
  } catch (const std::bad_alloc&) {
    return;
  }
}

// --- web shield ---

/// One round of BackgroundLoops::waitForWebShield().
void Service::lookAtShield() {
  const uint64_t clock = machine_.time.clock();
  const uint32_t wait = std::min(shield_.untilNextLook(clock), svc::DayPeriod::kLongestLookMs);
  machine_.time.after(wait, [this, look = shieldLooks_, alive = alive_] {
    if (!*alive || ending() || look != shieldLooks_) return;
    const uint64_t now = machine_.time.clock();
    const bool over = shield_.over(now);
    const uint64_t late = std::max(shieldDueBy_, machine_.time.lastWake() + kMinute) + kMinute + kSecond;
    week_.promise(over || now <= late, "a run of the web shield is not missed");
    if (!over) return lookAtShield();
    week_.promise(now >= shieldDueBy_, "the web shield runs once a period");
    runShield();
  });
}

void Service::runShield() {
  ++shieldLooks_;
  shieldRuns_ = true;
  shieldSettings_ = settings_.get();
  week_.happened("the web shield runs");
  later(machine_.chance.between(1, 40 * kSecond), &Service::shieldEnds);
}

void Service::shieldEnds() {
  if (!shieldRuns_) return;
  shieldRuns_ = false;
  if (ending()) return;
  if (!shieldSettings_.webShield) {
    machine_.hostsHasBlock = false;
  } else if (machine_.serverAnswers) {
    machine_.hostsHasBlock = true;
  }
  shield_.restart(machine_.time.clock(), kWebShieldPeriodMs);
  shieldDueBy_ = machine_.time.clock() + kWebShieldPeriodMs;
  if (shieldSettings_.webShield != settings_.get().webShield) return runShield();  // woken meanwhile
  week_.promise(shieldSettings_.webShield || !machine_.hostsHasBlock, "a shield that is off leaves no block");
  lookAtShield();
}

// --- settings and stop ---

void Service::applySettings() {
  Chance& chance = machine_.chance;
  SettingsFields fields = settings_.get();
  const SettingsFields before = fields;
  const uint64_t which = chance.below(8);
  if (which == 0) fields.protectionEnabled = !fields.protectionEnabled;
  if (which == 1) fields.realTimeEnabled = !fields.realTimeEnabled;
  if (which == 2) fields.scheduledHour = static_cast<uint32_t>(chance.below(24));
  if (which == 3) fields.liveUpdates = !fields.liveUpdates;
  if (which == 4) fields.webShield = !fields.webShield;
  if (which == 5) fields.scheduledScan = !fields.scheduledScan;
  if (which == 6) fields.quarantineDir = L"C:\\quarantine " + std::to_wstring(chance.below(100));
  if (which == 7) fields.signatureDb.clear();
  if (fields.scheduledHour != before.scheduledHour) moments_.scheduleChanges();
  const svc::SettingsInForce::Changes changes = settings_.replace(fields);
  week_.promise(changes.webShield == (which == 4) && changes.realTimeEnabled == (which == 1),
                "a change is noticed");
  week_.promise(!settings_.get().signatureDb.empty() || before.signatureDb.empty(),
                "an empty path keeps the old one");
  save();
  if (changes.webShield && !shieldRuns_ && !ending()) runShield();
  week_.happened("settings are applied");
}

void Service::requestStop() {
  if (processStop_) return;
  processStop_ = true;
  week_.happened("a stop is requested");
  later(machine_.chance.below(1'000), &Service::stopEngine);  // the reply is still being read
}

/// ScanWorker::stop(): each thread ends at its next wake; what waits wakes at once.
void Service::stopEngine() {
  (void)stop_.request_stop();
  (void)state_.cancel();
  shieldEnds();
  updateEnds();
  jobEnds();
  awaitEnds();
}

void Service::awaitEnds() {
  if (scan_) return later(10, &Service::awaitEnds);
  save();
  week_.happened("a stop is complete");
  moments_.ended();
}

void Service::checkAtEnd() {
  week_.promise(!scan_ || !ending(), "no scan outlives the stop");
  for (const ThreatEvent& event : detections_.take()) {
    week_.promise(event.size == delivered_ + 1, "every event waits until a client takes it");
    delivered_ = event.size;
  }
  week_.promise(delivered_ == added_, "no event is lost");
}

}  // namespace korvel::test

#include "engine/simulation/simulated_week.h"

#include <future>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>

#include "base/byte_view.h"
#include "base/linked_stop.h"
#include "config/settings_text.h"
#include "engine/busy_job.h"
#include "engine/daily_window.h"
#include "engine/day_period.h"
#include "engine/detections.h"
#include "engine/held_files.h"
#include "engine/notify_records.h"
#include "engine/scan_state.h"
#include "engine/settings_in_force.h"
#include "engine/simulation/made_up_machine.h"
#include "engine/threat_naming.h"
#include "engine/update_ticks.h"
#include "scan/scan_filter.h"

namespace korvel::test {
namespace {

using svc::BusyJob;
using svc::HeldFiles;
using svc::ScanState;

constexpr uint64_t kWeek = 7 * kDay;
// LoopTimes.
constexpr uint64_t kTickMs = 1'000;
constexpr uint64_t kSchedulePollMs = 60'000;
constexpr uint64_t kFirstWebShieldMs = 30'000;
constexpr uint64_t kWebShieldPeriodMs = kDay;
constexpr uint64_t kLastTryMs = HeldFiles::kDelays.back();
const std::wstring kRoot = L"C:\\Users";

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

/// Everything of one week that outlives a start of the service: what the machine and its users do, and the
/// promises.
class Week;

/// A scan as the simulated thread carries it out.
struct Scan {
  uint64_t began = 0;
  uint64_t files = 0;
  uint64_t done = 0;
  bool early = false;      // a cancel came before the scanning phase
  bool cancelled = false;  // one came in time
  std::optional<LinkedStop> cancel;
  ScanSummary summary;
  uint64_t listed = 0;
};

/// The service from one start to its stop or its crash: the engine's deciding objects, in its own order, and
/// in place of its threads what each of them does when it wakes.
class Service {
 public:
  Service(Week& week, Machine& machine);
  ~Service();

  void tickUntil(uint64_t awake);
  void afterSleep();
  uint64_t nextTick() const { return ending() ? UINT64_MAX : nextTick_; }

  // What clients ask for.
  void askForScan();
  void cancelScan();
  void takeEvents();
  void applySettings();
  void askForUpdate();
  void requestStop();

  void notify(const std::wstring& name);
  bool watches() const { return watches_ && !ending(); }
  bool ending() const { return stop_.stop_requested(); }
  bool stopRequested() const { return processStop_; }
  bool schedules() const { return schedules_ && !ending(); }
  uint32_t scheduledHour() const { return settings_.get().scheduledHour; }
  uint64_t attemptsOn(uint64_t day) const {
    const auto found = attempts_.find(day);
    return found == attempts_.end() ? 0 : found->second;
  }
  void checkAtEnd();

 private:
  void later(uint64_t delayMs, void (Service::*act)());
  bool startScan(bool scheduled);
  void scanCounts();
  void scanFinds();
  void scanFile();
  void scanEnds();
  void pollSchedule();
  void lookAtShield();
  void runShield();
  void shieldEnds();
  void automaticUpdate();
  void updateEnds();
  void jobEnds();
  void tryHeldFile();
  void armTries();
  void judge(const FileVerdict& verdict, bool isJudged);
  FileVerdict verdictOn(const std::wstring& path) const;
  void save();
  void stopEngine();
  void awaitEnds();

  Week& week_;
  Machine& machine_;
  const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  bool processStop_ = false;
  StopSource stop_;
  svc::SettingsInForce settings_;
  svc::Detections detections_;
  ScanState state_;
  svc::DailyWindow window_;
  svc::UpdateTicks ticks_;
  svc::DayPeriod shield_;
  HeldFiles held_;
  BusyJob update_;

  bool schedules_ = false;
  bool watches_ = false;
  std::optional<Scan> scan_;
  bool shieldRuns_ = false;
  uint64_t shieldLooks_ = 0;
  uint64_t shieldDueBy_ = 0;
  SettingsFields shieldSettings_;
  bool updateRuns_ = false;
  uint64_t lastUpdate_ = 0;
  uint64_t updateDueBy_ = 0;
  std::shared_ptr<std::promise<bool>> job_;  ///< the requested update that runs; whether it succeeds
  uint64_t nextTick_ = 0;
  uint64_t tryNumber_ = 0;
  uint64_t added_ = 0;
  uint64_t delivered_ = 0;
  std::map<uint64_t, uint64_t> attempts_;
};

class Week {
 public:
  explicit Week(uint64_t seed) : machine_(seed), seed_(seed) {}

  WeekReport run();

  void broken(const std::string& promise) {
    if (report_.broken.size() < 20) {
      report_.broken.push_back("seed " + std::to_string(seed_) + ", " +
                               std::to_string(machine_.time.awake()) + " ms: " + promise);
    }
  }
  void promise(bool kept, const char* text) {
    if (!kept) broken(text);
  }
  void happened(const std::string& what) {
    ++report_.happened[what];
    report_.trace = report_.trace * 1'099'511'628'211 + machine_.time.clock() + what.size();
  }
  void saved(const SettingsFields& settings) { saved_ = settings; }
  const std::optional<SettingsFields>& saved() const { return saved_; }
  void serviceHasEnded();
  /// The stretch of time in which nothing kept the schedule from being looked at begins anew.
  void breakStretch();

 private:
  void startService();
  void client();
  void writer();
  void fault();
  void sleeper();
  void crash();
  void repeatedly(uint64_t meanMs, void (Week::*act)());

  Machine machine_;
  const uint64_t seed_;
  WeekReport report_;
  std::unique_ptr<Service> service_;
  uint64_t starts_ = 0;
  std::unique_ptr<Service> ended_;  // its destructor is not run from within
  std::optional<SettingsFields> saved_;
  uint64_t stretchBegan_ = 0;
  uint32_t stretchHour_ = 0;
};

// --- service ---

Service::Service(Week& week, Machine& machine)
    : week_(week), machine_(machine), settings_([this](const SettingsFields& fields) {
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
  info.currentPath = kRoot + L"\\" + std::to_wstring(scan_->done);
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
    const std::wstring path = kRoot + L"\\" + changed;
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
  if (fields.scheduledHour != before.scheduledHour) week_.breakStretch();
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
  week_.serviceHasEnded();
}

void Service::checkAtEnd() {
  week_.promise(!scan_ || !ending(), "no scan outlives the stop");
  for (const ThreatEvent& event : detections_.take()) {
    week_.promise(event.size == delivered_ + 1, "every event waits until a client takes it");
    delivered_ = event.size;
  }
  week_.promise(delivered_ == added_, "no event is lost");
}

// --- week ---

void Week::repeatedly(uint64_t meanMs, void (Week::*act)()) {
  machine_.time.after(machine_.chance.between(1, 2 * meanMs), [this, meanMs, act] {
    (this->*act)();
    repeatedly(meanMs, act);
  });
}

void Week::startService() {
  ++starts_;
  service_ = std::make_unique<Service>(*this, machine_);
  stretchBegan_ = machine_.time.unixMs();
  stretchHour_ = service_->scheduledHour();
  happened("the service starts");
}

void Week::breakStretch() {
  if (service_ && service_->schedules()) {
    // Every day whose ten minutes lie in the stretch, with room for the last look at the clock.
    for (uint64_t day = stretchBegan_ / kDay; day <= machine_.time.day(); ++day) {
      const uint64_t begin = day * kDay + stretchHour_ * kHour;
      if (begin < stretchBegan_ || begin + 10 * kMinute > machine_.time.unixMs()) continue;
      promise(service_->attemptsOn(day) == 1, "the daily scan of a day is not missed");
    }
  }
  stretchBegan_ = machine_.time.unixMs();
  if (service_) stretchHour_ = service_->scheduledHour();
}

void Week::serviceHasEnded() {
  breakStretch();
  service_->checkAtEnd();
  ended_ = std::move(service_);
  machine_.time.after(machine_.chance.between(1, 3 * kMinute), [this] {
    ended_.reset();
    startService();
  });
}

void Week::client() {
  if (!service_ || service_->ending()) return;
  const uint64_t request = machine_.chance.below(40);
  if (request < 10) {
    service_->askForScan();
    if (machine_.chance.oneIn(3)) {
      machine_.time.after(machine_.chance.between(1, 20 * kSecond), [this] {
        if (service_ && !service_->stopRequested()) service_->cancelScan();
      });
    }
  } else if (request < 13) {
    service_->cancelScan();
  } else if (request < 28) {
    service_->takeEvents();
  } else if (request < 34) {
    service_->applySettings();
    stretchHour_ = service_->scheduledHour();
  } else if (request < 38) {
    service_->askForUpdate();
  } else if (request < 39) {
    service_->requestStop();
    // Threads that have not noticed yet.
    for (int i = 0; i < 2; ++i) {
      machine_.time.after(machine_.chance.below(1'200), [this] {
        if (service_) service_->askForScan();
      });
    }
  }
}

void Week::writer() {
  static const std::vector<std::wstring> kNames = {L"a.exe",       L"b.dll", L"dir\\c.exe", L"d.txt.exe",
                                                   L"e.unwatched", L"f",     L"g.js"};
  Chance& chance = machine_.chance;
  const std::wstring name = kNames[chance.below(kNames.size())];
  const std::wstring path = kRoot + L"\\" + name;
  FileVersion file;
  file.serial = ++machine_.writes;
  file.contentSeverity = static_cast<int32_t>(chance.below(5));
  file.nameSeverity = static_cast<int32_t>(chance.below(4));
  if (chance.oneIn(2)) file.heldUntil = machine_.time.awake() + chance.below(20 * kSecond);
  const FileVersion& replaced = machine_.files[path];
  file.mayFollowOne = (replaced.waited || replaced.mayFollowOne) &&
                      machine_.time.awake() <= replaced.lastNotification + kLastTryMs;
  if (file.mayFollowOne) file.lastNotification = replaced.lastNotification;
  machine_.files[path] = file;
  happened("a file is written");
  if (!service_ || !service_->watches()) return;
  const uint64_t notifications = chance.between(1, 3);
  uint64_t at = 0;  // of the last notification
  const uint64_t watching = starts_;
  for (uint64_t i = 0; i < notifications; ++i) {
    if (i > 0) at += chance.between(1, 3 * kSecond);
    machine_.time.after(at, [this, name, path, watching, serial = file.serial] {
      if (service_ && starts_ == watching && service_->watches() && machine_.files.at(path).serial == serial)
        service_->notify(name);
    });
  }
  const uint64_t lastTry = machine_.time.awake() + at + kLastTryMs;
  machine_.time.after(at + kLastTryMs + kSecond, [this, path, watching, serial = file.serial, notifications,
                                                  lastTry, written = machine_.time.clock()] {
    const FileVersion& now = machine_.files.at(path);
    if (!service_ || starts_ != watching || !service_->watches() || now.serial != serial) return;
    if (now.notifications != notifications)
      return;  // not one that is watched, or the service was stopped meanwhile
    if (now.mayFollowOne && !now.waited) {
      promise(now.contentEvents <= notifications + 1 &&
                  (now.contentSeverity < kSeverityMedium || now.contentEvents >= 1),
              "a file that is written anew is not forgotten");
      return;
    }
    if (!now.waited) {
      promise(now.contentEvents == (now.contentSeverity >= kSeverityMedium ? notifications : 0) &&
                  now.nameEvents == 0,
              "a file that can be read has its event at each notification");
      return;
    }
    // The tries go by the clock, and a sleep outlasts them and what is remembered.
    if (machine_.time.lastWake() > written) return;
    promise(now.contentEvents <= 1 && now.nameEvents <= 1, "a held file has one event");
    const bool byName = now.heldUntil > lastTry;
    const int32_t severity = byName ? now.nameSeverity : now.contentSeverity;
    promise(severity < kSeverityMedium || now.contentEvents + now.nameEvents >= 1,
            "a held file is not forgotten");
  });
}

void Week::fault() {
  switch (machine_.chance.below(4)) {
    case 0:
    case 1:
      machine_.diskFails = !machine_.diskFails;
      break;
    case 2:
      machine_.serverAnswers = !machine_.serverAnswers;
      break;
    default:
      machine_.diskFails = false;
      machine_.serverAnswers = true;
  }
  happened("a fault comes or goes");
}

void Week::sleeper() {
  breakStretch();
  machine_.time.sleepFor(
      machine_.chance.between(kMinute, machine_.chance.oneIn(10) ? 40 * kHour : 10 * kHour));
  stretchBegan_ = machine_.time.unixMs();
  if (service_) service_->afterSleep();
  happened("the machine sleeps");
}

void Week::crash() {
  if (!service_) return;
  breakStretch();
  service_->checkAtEnd();
  service_.reset();
  happened("the service crashes");
  machine_.time.after(machine_.chance.between(1, kMinute), [this] { startService(); });
}

WeekReport Week::run() {
  startService();
  repeatedly(20 * kMinute, &Week::client);
  repeatedly(25 * kMinute, &Week::writer);
  repeatedly(5 * kHour, &Week::fault);
  repeatedly(14 * kHour, &Week::sleeper);
  repeatedly(60 * kHour, &Week::crash);
  while (machine_.time.clock() < kWeek) {
    const uint64_t next = machine_.time.next();
    if (service_ && service_->nextTick() <= next) {
      service_->tickUntil(std::min(next, service_->nextTick() + 10 * kMinute));
      continue;
    }
    machine_.time.runNext();
  }
  if (service_) service_->checkAtEnd();
  service_.reset();
  ended_.reset();
  return std::move(report_);
}

}  // namespace

WeekReport simulateWeek(uint64_t seed) { return Week(seed).run(); }

}  // namespace korvel::test

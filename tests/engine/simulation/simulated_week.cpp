#include "engine/simulation/simulated_week.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "engine/simulation/made_up_machine.h"
#include "engine/simulation/simulated_service.h"
#include "engine/simulation/week_journal.h"

namespace korvel::test {
namespace {

constexpr uint64_t kWeek = 7 * kDay;

/// Everything of one week that outlives a start of the service: what the machine and its users do.
class Week {
 public:
  explicit Week(uint64_t seed) : machine_(seed), journal_(seed, machine_.time) {}

  WeekReport run();

 private:
  void serviceHasEnded();
  /// The stretch of time in which nothing kept the schedule from being looked at begins anew.
  void breakStretch();
  void startService();
  void client();
  void writer();
  void fault();
  void sleeper();
  void crash();
  void repeatedly(uint64_t meanMs, void (Week::*act)());

  Machine machine_;
  WeekJournal journal_;
  std::unique_ptr<Service> service_;
  uint64_t starts_ = 0;
  std::unique_ptr<Service> ended_;  // its destructor is not run from within
  uint64_t stretchBegan_ = 0;
  uint32_t stretchHour_ = 0;
};

void Week::repeatedly(uint64_t meanMs, void (Week::*act)()) {
  machine_.time.after(machine_.chance.between(1, 2 * meanMs), [this, meanMs, act] {
    (this->*act)();
    repeatedly(meanMs, act);
  });
}

void Week::startService() {
  ++starts_;
  service_ = std::make_unique<Service>(journal_, machine_,
                                       Service::Moments{.scheduleChanges = [this] { breakStretch(); },
                                                        .ended = [this] { serviceHasEnded(); }});
  stretchBegan_ = machine_.time.unixMs();
  stretchHour_ = service_->scheduledHour();
  journal_.happened("the service starts");
}

void Week::breakStretch() {
  if (service_ && service_->schedules()) {
    // Every day whose ten minutes lie in the stretch, with room for the last look at the clock.
    for (uint64_t day = stretchBegan_ / kDay; day <= machine_.time.day(); ++day) {
      const uint64_t begin = day * kDay + stretchHour_ * kHour;
      if (begin < stretchBegan_ || begin + 10 * kMinute > machine_.time.unixMs()) continue;
      journal_.promise(service_->attemptsOn(day) == 1, "the daily scan of a day is not missed");
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
  const std::wstring path = std::wstring(kWatchedRoot) + L"\\" + name;
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
  journal_.happened("a file is written");
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
      journal_.promise(now.contentEvents <= notifications + 1 &&
                           (now.contentSeverity < kSeverityMedium || now.contentEvents >= 1),
                       "a file that is written anew is not forgotten");
      return;
    }
    if (!now.waited) {
      journal_.promise(now.contentEvents == (now.contentSeverity >= kSeverityMedium ? notifications : 0) &&
                           now.nameEvents == 0,
                       "a file that can be read has its event at each notification");
      return;
    }
    // The tries go by the clock, and a sleep outlasts them and what is remembered.
    if (machine_.time.lastWake() > written) return;
    journal_.promise(now.contentEvents <= 1 && now.nameEvents <= 1, "a held file has one event");
    const bool byName = now.heldUntil > lastTry;
    const int32_t severity = byName ? now.nameSeverity : now.contentSeverity;
    journal_.promise(severity < kSeverityMedium || now.contentEvents + now.nameEvents >= 1,
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
  journal_.happened("a fault comes or goes");
}

void Week::sleeper() {
  breakStretch();
  machine_.time.sleepFor(
      machine_.chance.between(kMinute, machine_.chance.oneIn(10) ? 40 * kHour : 10 * kHour));
  stretchBegan_ = machine_.time.unixMs();
  if (service_) service_->afterSleep();
  journal_.happened("the machine sleeps");
}

void Week::crash() {
  if (!service_) return;
  breakStretch();
  service_->checkAtEnd();
  service_.reset();
  journal_.happened("the service crashes");
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
  return journal_.report();
}

}  // namespace

WeekReport simulateWeek(uint64_t seed) { return Week(seed).run(); }

}  // namespace korvel::test

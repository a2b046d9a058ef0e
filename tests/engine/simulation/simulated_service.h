// The service of a simulated week.
#pragma once

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/linked_stop.h"
#include "base/stop.h"
#include "engine/busy_job.h"
#include "engine/daily_window.h"
#include "engine/day_period.h"
#include "engine/detections.h"
#include "engine/held_files.h"
#include "engine/scan_state.h"
#include "engine/settings_in_force.h"
#include "engine/simulation/made_up_machine.h"
#include "engine/simulation/week_journal.h"
#include "engine/update_ticks.h"

namespace korvel::test {

using svc::BusyJob;
using svc::HeldFiles;
using svc::ScanState;

/// The last try to read a held file, after its last notification.
inline constexpr uint64_t kLastTryMs = HeldFiles::kDelays.back();
/// The folder that is watched.
inline constexpr wchar_t kWatchedRoot[] = L"C:\\Users";

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
  /// What the week does at moments of its service.
  struct Moments {
    std::function<void()> scheduleChanges;  ///< the hour of the daily scan is about to change
    std::function<void()> ended;            ///< the stop is complete
  };

  Service(WeekJournal& week, Machine& machine, Moments moments);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

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

  WeekJournal& week_;
  Machine& machine_;
  const Moments moments_;
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

}  // namespace korvel::test

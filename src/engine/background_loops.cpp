#include "engine/background_loops.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "base/clock.h"
#include "base/win.h"
#include "engine/daily_window.h"
#include "engine/day_period.h"
#include "engine/detections.h"
#include "engine/log_exception.h"
#include "engine/realtime_watcher.h"
#include "engine/scan_job.h"
#include "engine/scan_options.h"
#include "engine/settings_in_force.h"
#include "engine/signatures_in_force.h"
#include "engine/threat_naming.h"
#include "engine/update_jobs.h"
#include "engine/update_ticks.h"
#include "remedy/web_shield.h"
#include "runtime/log.h"

namespace korvel::svc {
namespace {

constexpr uint32_t kWatchRetryMs = 60'000;

UtcMoment utcNow() {
  const uint64_t ticks = systemFileTime();
  const FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME utc{};
  ::FileTimeToSystemTime(&time, &utc);
  return {utc.wYear, utc.wMonth, utc.wDay, utc.wHour, utc.wMinute};
}

void join(std::thread& thread) {
  if (thread.joinable()) thread.join();
}

}  // namespace

BackgroundLoops::BackgroundLoops(const Parts& parts, const LoopTimes& times, StopToken stop)
    : parts_(parts), times_(times), stop_(std::move(stop)) {}

void BackgroundLoops::start(const SettingsFields& settings) {
  if (settings.scheduledScan) scheduledThread_ = std::thread([this] { scheduledScan(); });
  if (settings.realTimeEnabled && settings.protectionEnabled) {
    realtimeThread_ = std::thread([this] { realtime(); });
  }
  webShieldWake_.reset(
      ::CreateEventW(/*security=*/nullptr, /*manualReset=*/FALSE, /*initialState=*/FALSE, /*name=*/nullptr));
  liveUpdateThread_ = std::thread([this] { liveUpdate(); });
  webShieldThread_ = std::thread([this] { webShield(); });
}

void BackgroundLoops::join() {
  svc::join(realtimeThread_);
  svc::join(scheduledThread_);
  svc::join(liveUpdateThread_);
  svc::join(webShieldThread_);
}

void BackgroundLoops::wakeWebShield() {
  if (webShieldWake_) ::SetEvent(webShieldWake_.get());
}

void BackgroundLoops::scheduledScan() {
  DailyWindow window;
  while (!stop_.requested()) {
    try {
      std::string error;
      if (window.due(utcNow(), parts_.settings.get().scheduledHour) && !parts_.scan.startScheduled(&error)) {
        Log::instance().write(kLogWarning, "scheduled scan skipped: " + error);
      }
    } catch (const std::exception& exception) {
      logException(kLogWarning, "scheduled scan skipped: ", exception);
    }
    stop_.sleep(times_.schedulePollMs);
  }
}

/// A watch that cannot be set up for want of memory is tried again: the status goes on saying that it is on.
void BackgroundLoops::realtime() {
  do {
    try {
      watch();
      return;
    } catch (const std::exception& exception) {
      logException(kLogError, "scan aborted: ", exception);
    }
  } while (!stop_.sleep(kWatchRetryMs));
}

void BackgroundLoops::watch() {
  SignaturesInForce::Pointer database = parts_.signatures.current();
  if (!database) {
    Log::instance().write(kLogError, "real-time: signature database is not loaded");
    return;
  }
  const auto onDetection = [this](const FileVerdict& verdict) {
    parts_.detections.add(makeThreatRecord(verdict));
  };
  RealtimeWatcher watcher(std::move(database), scanOptionsFrom(parts_.settings.get()), stop_, onDetection);
  watcher.run(watchedRoots());
}

void BackgroundLoops::liveUpdate() {
  UpdateTicks ticks;
  while (!stop_.sleep(times_.updateTickMs)) {
    try {
      if (ticks.tick(times_.clockMs()) && parts_.settings.get().liveUpdates)
        parts_.updates.runAutomaticUpdate();
    } catch (const std::exception& exception) {
      logException(kLogWarning, "live update failed: ", exception);
    }
  }
}

/// Runs the shield once per period and whenever its setting changes.
void BackgroundLoops::webShield() {
  DayPeriod period;
  period.restart(times_.clockMs(), times_.firstWebShieldMs);
  while (waitForWebShield(period)) {
    try {
      runWebShield(parts_.settings.get(), stop_.token());
    } catch (const std::exception& exception) {
      logException(kLogWarning, "web shield: domain feed failed: ", exception);
    }
    period.restart(times_.clockMs(), times_.webShieldPeriodMs);
  }
}

/// False once the engine stops, and when the wait fails. A wait stands still while the machine sleeps, so it
/// is cut into short ones, with a look at the clock in between.
bool BackgroundLoops::waitForWebShield(DayPeriod& period) {
  // Without the event nothing can wake it for a changed setting, so it looks more often than once per period.
  if (!webShieldWake_) return !stop_.sleep(times_.firstWebShieldMs);
  const HANDLE events[] = {stop_.handle(), webShieldWake_.get()};
  for (;;) {
    const uint32_t wait = std::min(period.untilNextLook(times_.clockMs()), times_.longestLookMs);
    const DWORD result = ::WaitForMultipleObjects(2, events, /*waitAll=*/FALSE, wait);
    if (result == WAIT_FAILED || stop_.requested()) return false;
    if (result != WAIT_TIMEOUT || period.over(times_.clockMs())) return true;
  }
}

}  // namespace korvel::svc

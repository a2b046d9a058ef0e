// The long-lived threads of the engine. start() starts them; each ends with the stop flag, whose event it
// sleeps on, so none makes stop() wait for a sleep.
#include <exception>
#include <string>

#include "base/clock.h"
#include "base/win.h"
#include "engine/daily_window.h"
#include "engine/realtime_watcher.h"
#include "engine/scan_options.h"
#include "engine/scan_worker.h"
#include "engine/update_ticks.h"
#include "remedy/web_shield.h"
#include "service/runtime/log.h"

namespace korvel::svc {
namespace {

UtcMoment utcNow() {
  const uint64_t ticks = systemFileTime();
  const FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME utc{};
  ::FileTimeToSystemTime(&time, &utc);
  return {utc.wYear, utc.wMonth, utc.wDay, utc.wHour, utc.wMinute};
}

}  // namespace

void ScanWorker::scheduledScanLoop() {
  DailyWindow window;
  while (!stopping_.isSet()) {
    if (window.due(utcNow(), getSettings().scheduledHour)) startScheduledScan();
    stopping_.sleep(times_.schedulePollMs);
  }
}

void ScanWorker::startScheduledScan() {
  std::string error;
  try {
    if (startScan(ScanScope::kQuick, {}, &error)) return;
  } catch (const std::exception& exception) {
    error = exception.what();
  }
  Log::instance().write(kLogWarning, "scheduled scan skipped: " + error);
}

void ScanWorker::realtimeLoop() {
  try {
    std::shared_ptr<const SignatureDatabase> database = currentDatabase();
    if (!database) {
      Log::instance().write(kLogError, "real-time: signature database is not loaded");
      return;
    }
    RealtimeWatcher watcher(std::move(database), scanOptionsFrom(getSettings()), stopping_,
                            [this](const FileVerdict& verdict) { recordThreat(verdict, /*pending=*/true); });
    watcher.run(watchedRoots());
  } catch (const std::exception& exception) {
    Log::instance().write(kLogError, std::string("scan aborted: ") + exception.what());
  }
}

void ScanWorker::liveUpdateLoop() {
  UpdateTicks ticks;
  while (!stopping_.sleep(times_.updateTickMs)) {
    if (ticks.tick() && getSettings().liveUpdates) runAutomaticUpdate();
  }
}

/// Besides its period the shield runs whenever its setting changes.
void ScanWorker::webShieldLoop() {
  uint32_t timeout = times_.firstWebShieldMs;
  while (waitForWebShield(timeout)) {
    try {
      runWebShield(getSettings(), &stopping_.flag());
    } catch (const std::exception& exception) {
      Log::instance().write(kLogWarning, std::string("web shield: domain feed failed: ") + exception.what());
    }
    timeout = times_.webShieldPeriodMs;
  }
}

/// False once the engine stops, and when waiting is impossible.
bool ScanWorker::waitForWebShield(uint32_t milliseconds) {
  if (!webShieldWake_) return !stopping_.sleep(times_.firstWebShieldMs);
  const HANDLE events[] = {stopping_.event(), webShieldWake_.get()};
  const DWORD result = ::WaitForMultipleObjects(2, events, /*waitAll=*/FALSE, milliseconds);
  return result != WAIT_FAILED && !stopping_.isSet();
}

}  // namespace korvel::svc

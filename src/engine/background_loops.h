// The long-lived threads of the engine: the daily scan, real-time protection, the automatic live update and
// the web shield. All sleep on the stop's event, so the stop never waits for a sleep to end.
#pragma once

#include <thread>

#include "base/stop.h"
#include "base/unique_resource.h"
#include "engine/loop_times.h"
#include "records/settings_fields.h"
#include "runtime/stop_event.h"

namespace korvel::svc {

class Detections;
class ScanJob;
class SettingsInForce;
class SignaturesInForce;
class UpdateJobs;

class BackgroundLoops {
 public:
  /// What the loops act on, borrowed for the object's life.
  struct Parts {
    const SettingsInForce& settings;
    const SignaturesInForce& signatures;
    Detections& detections;
    ScanJob& scan;
    UpdateJobs& updates;
  };

  /// Throws std::system_error when no event can be made.
  BackgroundLoops(const Parts& parts, const LoopTimes& times, StopToken stop);
  BackgroundLoops(const BackgroundLoops&) = delete;
  BackgroundLoops& operator=(const BackgroundLoops&) = delete;

  /// Starts the threads that `settings` asks for. Call at most once. Throws std::system_error when a thread
  /// cannot be made; the others run on until the stop.
  void start(const SettingsFields& settings);
  /// Waits for the threads, which end with the stop.
  void join();

  /// Lets the web shield run now.
  void wakeWebShield();

 private:
  void scheduledScan();
  void realtime();
  void watch();
  void liveUpdate();
  void webShield();
  bool waitForWebShield(DayPeriod& period);

  const Parts parts_;
  const LoopTimes times_;
  const StopEvent stop_;
  UniqueHandle webShieldWake_;  // auto-reset; made by start(), empty if that failed

  std::thread scheduledThread_;
  std::thread realtimeThread_;
  std::thread liveUpdateThread_;
  std::thread webShieldThread_;
};

}  // namespace korvel::svc

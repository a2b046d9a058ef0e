// The protection engine: puts together the parts that do the work and starts and stops them in order.
//
// Life: construct, init() once, start() once, stop(); the engine host (service/engine_host.h) does that. All
// other operations may be called from any thread between init() and stop(). Texts handed back through
// `error` are UTF-8 and go to the user interface unchanged; `error` may be null.
#pragma once

#include <string>
#include <vector>

#include "base/stop.h"
#include "engine/background_loops.h"
#include "engine/detections.h"
#include "engine/driver_queries.h"
#include "engine/loop_times.h"
#include "engine/scan_job.h"
#include "engine/settings_in_force.h"
#include "engine/signatures_in_force.h"
#include "engine/update_jobs.h"
#include "remedy/quarantine_store.h"
#include "server/engine_operations.h"

namespace korvel::svc {

class ScanWorker final : public EngineOperations {
 public:
  explicit ScanWorker(const LoopTimes& times = {});
  ~ScanWorker();  ///< ends the threads that still run
  ScanWorker(const ScanWorker&) = delete;
  ScanWorker& operator=(const ScanWorker&) = delete;

  /// Settings, signature database, quarantine store, scan cache. False when the quarantine store cannot be
  /// opened; a missing database is only logged. Throws what reading the settings file throws.
  bool init(std::string* error);
  /// Starts the background threads. False once stop() was called.
  bool start(std::string* error);
  /// Ends and joins every thread, then saves the settings. Only the first call acts.
  void stop();

  EngineStatus getStatus() const override;

  bool startScan(ScanScope scope, const std::vector<std::wstring>& targets, std::string* error) override;
  bool cancelScan() override;
  void reportScan(const TakeReport& take) override;
  std::vector<ThreatRecord> getResults() const override;
  ScanProgressInfo getProgress() const { return scan_.report().progress; }
  ScanSummary getLastSummary() const { return scan_.report().lastSummary; }
  /// Hands out each pending event once, in order of detection.
  std::vector<ThreatEvent> takeEvents() { return detections_.take(); }

  bool quarantineThreat(const ThreatRecord& threat, std::string* error) override;
  bool deleteThreat(const ThreatRecord& threat, std::string* error) override;
  std::vector<QuarantineRecord> listQuarantine() override;
  bool restoreQuarantined(uint64_t id, std::string* error) override;
  bool deleteQuarantined(uint64_t id, std::string* error) override;

  SettingsFields getSettings() const override;
  bool applySettings(const SettingsFields& settings, std::string* error) override;
  void saveSettings() { settings_.save(); }

  bool reloadSignatures(std::string* error) override;
  bool startLiveUpdate(std::string* error) override;
  bool startUpdateCheck(std::string* error) override;

 private:
  void endThreads();

  // In the order in which they build upon each other; each synchronises itself.
  StopSource stop_;  // requested once by stop(), for good
  SettingsInForce settings_;
  SignaturesInForce signatures_;
  QuarantineStore quarantine_;
  Detections detections_;
  ScanJob scan_;
  UpdateJobs updates_;
  DriverQueries driver_;
  BackgroundLoops loops_;
};

}  // namespace korvel::svc

// The interface between the request dispatcher, which calls it, and the engine, which implements it. Neither
// depends on anything else of the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "records/engine_status.h"
#include "records/quarantine_record.h"
#include "records/scan_progress.h"
#include "records/scan_scope.h"
#include "records/settings_fields.h"
#include "records/threat_record.h"

namespace korvel {

/// Operations that can fail return false with a text in `error` (may be null), which is shown to the user
/// unchanged; it is UTF-8 and may be empty. All may be called from any thread, and any may throw a standard
/// exception.
class EngineOperations {
 public:
  virtual EngineStatus getStatus() const = 0;

  /// Starts a scan on a thread of the engine.
  virtual bool startScan(ScanScope scope, const std::vector<std::wstring>& targets, std::string* error) = 0;
  /// Asks the running scan to end; returns whether a cancellation was already requested.
  virtual bool cancelScan() = 0;
  /// Passes one consistent report to `take`, which returns how many of its first events it has taken. Those
  /// are removed; the others are part of the next report again.
  using TakeReport = std::function<size_t(const ScanReport& report)>;
  virtual void reportScan(const TakeReport& take) = 0;
  /// The detections of the current or last scan, in order.
  virtual std::vector<ThreatRecord> getResults() const = 0;

  /// Moves the file into quarantine.
  virtual bool quarantineThreat(const ThreatRecord& threat, std::string* error) = 0;
  /// Moves the file into quarantine, then erases it there.
  virtual bool deleteThreat(const ThreatRecord& threat, std::string* error) = 0;
  virtual std::vector<QuarantineRecord> listQuarantine() = 0;
  virtual bool restoreQuarantined(uint64_t id, std::string* error) = 0;
  virtual bool deleteQuarantined(uint64_t id, std::string* error) = 0;

  virtual SettingsFields getSettings() const = 0;
  /// Replaces and saves the settings. Empty signatureDb and quarantineDir keep the values in force.
  virtual bool applySettings(const SettingsFields& settings, std::string* error) = 0;

  /// Reloads the signature files.
  virtual bool reloadSignatures(std::string* error) = 0;
  /// Each starts its job on a thread of the engine, and refuses while that job runs. getStatus() shows
  /// whether the job is running and how an update check ended.
  virtual bool startLiveUpdate(std::string* error) = 0;
  virtual bool startUpdateCheck(std::string* error) = 0;

 protected:
  ~EngineOperations() = default;  // engines are never deleted through this interface
};

}  // namespace korvel

// Stands in for the engine's header where the dispatcher is compiled for its tests: the operations that the
// dispatcher calls, with the same signatures, noting what they were asked and answering what the test set.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/error.h"
#include "config/settings.h"
#include "engine/engine_status.h"
#include "engine/scan_scope.h"
#include "engine/threat_record.h"
#include "remedy/quarantine_record.h"
#include "scan/scan_records.h"

namespace korvel::svc {

class ScanWorker {
 public:
  bool startScan(ScanScope scope, const std::vector<std::wstring>& targets, std::string* error) {
    scanScope = scope;
    scanTargets = targets;
    return operation("startScan", error);
  }
  bool cancelScan() {
    calls.emplace_back("cancelScan");
    return false;
  }
  bool reloadSignatures(std::string* error) { return operation("reloadSignatures", error); }
  bool startLiveUpdate(std::string* error) { return operation("startLiveUpdate", error); }
  bool startUpdateCheck(std::string* error) { return operation("startUpdateCheck", error); }
  bool applySettings(const Settings& wanted, std::string* error) {
    settings = wanted;
    return operation("applySettings", error);
  }
  Settings getSettings() const { return settings; }
  EngineStatus getStatus() const { return status; }
  ScanProgressInfo getProgress() {
    const ScanProgressInfo now = progress;
    if (endsWhileAsked) {
      progress.phase = L"cancelled";
      scanning = false;
    }
    return now;
  }
  bool isScanning() const { return scanning; }
  ScanSummary getLastSummary() const { return summary; }
  std::vector<ThreatRecord> getResults() const { return results; }
  std::vector<ThreatRecord> takeEvents() { return std::exchange(events, {}); }
  void returnEvents(std::vector<ThreatRecord> rest) {
    events.insert(events.begin(), rest.begin(), rest.end());
  }
  bool quarantineThreat(const ThreatRecord& asked, std::string* error) {
    threat = asked;
    return operation("quarantineThreat", error);
  }
  bool deleteThreat(const ThreatRecord& asked, std::string* error) {
    threat = asked;
    return operation("deleteThreat", error);
  }
  std::vector<QuarantineRecord> listQuarantine() { return quarantine; }
  bool restoreQuarantined(uint64_t id, std::string* error) {
    quarantineId = id;
    return operation("restoreQuarantined", error);
  }
  bool deleteQuarantined(uint64_t id, std::string* error) {
    quarantineId = id;
    return operation("deleteQuarantined", error);
  }

  // What the test sets.
  std::optional<std::string> refusal;  // operations fail with this text, which may be empty
  std::optional<std::string> thrown;   // operations throw this text
  EngineStatus status;
  Settings settings;
  ScanProgressInfo progress;
  ScanSummary summary;
  std::vector<ThreatRecord> results;
  std::vector<ThreatRecord> events;
  std::vector<QuarantineRecord> quarantine;
  bool scanning = false;
  bool endsWhileAsked = false;  // the scan ends right after its progress was read

  // What the test looks at.
  std::vector<std::string> calls;
  ScanScope scanScope = ScanScope::kQuick;
  std::vector<std::wstring> scanTargets;
  ThreatRecord threat;
  uint64_t quarantineId = 0;

 private:
  bool operation(const char* name, std::string* error) {
    calls.emplace_back(name);
    if (thrown) throw std::runtime_error(*thrown);
    return refusal ? fail(error, *refusal) : true;
  }
};

}  // namespace korvel::svc

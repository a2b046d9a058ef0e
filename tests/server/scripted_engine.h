// An engine that notes what it was asked and answers what the test has set.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/error.h"
#include "server/engine_operations.h"

namespace korvel::test {

class ScriptedEngine final : public EngineOperations {
 public:
  bool startScan(ScanScope scope, const std::vector<std::wstring>& targets, std::string* error) override {
    scanScope = scope;
    scanTargets = targets;
    return operation("startScan", error);
  }
  bool cancelScan() override {
    calls.emplace_back("cancelScan");
    return false;
  }
  bool reloadSignatures(std::string* error) override { return operation("reloadSignatures", error); }
  bool startLiveUpdate(std::string* error) override { return operation("startLiveUpdate", error); }
  bool startUpdateCheck(std::string* error) override { return operation("startUpdateCheck", error); }
  bool applySettings(const SettingsFields& wanted, std::string* error) override {
    settings = wanted;
    return operation("applySettings", error);
  }
  SettingsFields getSettings() const override { return settings; }
  EngineStatus getStatus() const override { return status; }
  void reportScan(const TakeReport& take) override {
    const size_t taken = take({progress, scanning, summary, events});
    events.erase(events.begin(), events.begin() + static_cast<ptrdiff_t>(taken));
    if (endsWhileAsked) {
      progress.phase = L"cancelled";
      scanning = false;
    }
  }
  std::vector<ThreatRecord> getResults() const override { return results; }
  bool quarantineThreat(const ThreatRecord& asked, std::string* error) override {
    threat = asked;
    return operation("quarantineThreat", error);
  }
  bool deleteThreat(const ThreatRecord& asked, std::string* error) override {
    threat = asked;
    return operation("deleteThreat", error);
  }
  std::vector<QuarantineRecord> listQuarantine() override { return quarantine; }
  bool restoreQuarantined(uint64_t id, std::string* error) override {
    quarantineId = id;
    return operation("restoreQuarantined", error);
  }
  bool deleteQuarantined(uint64_t id, std::string* error) override {
    quarantineId = id;
    return operation("deleteQuarantined", error);
  }

  // What the test sets.
  std::optional<std::string> refusal;  // operations fail with this text, which may be empty
  std::optional<std::string> thrown;   // operations throw this text
  EngineStatus status;
  SettingsFields settings;
  ScanProgressInfo progress;
  ScanSummary summary;
  std::vector<ThreatRecord> results;
  std::vector<ThreatEvent> events;
  std::vector<QuarantineRecord> quarantine;
  bool scanning = false;
  bool endsWhileAsked = false;  // the scan ends right after its report was taken

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

}  // namespace korvel::test

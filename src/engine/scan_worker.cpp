#include "engine/scan_worker.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <string_view>
#include <utility>

#include "base/utf.h"
#include "base/version.h"
#include "config/data_paths.h"
#include "config/settings.h"
#include "config/settings_file.h"
#include "engine/log_exception.h"
#include "engine/signature_loader.h"
#include "runtime/log.h"
#include "runtime/stop_signal.h"
#include "signatures/signature_database.h"

namespace korvel::svc {
namespace {

void logInfo(std::string_view text) { Log::instance().write(kLogInfo, text); }
void logWarning(std::string_view text) { Log::instance().write(kLogWarning, text); }

const char* onOff(bool on) { return on ? "on" : "off"; }

void writeToDisk(const SettingsFields& settings) {
  // The record in memory stays in force whatever happens.
  (void)writeSettingsFile(settings, settingsPath(), StopSignal::process().token());
}

}  // namespace

ScanWorker::ScanWorker(const LoopTimes& times)
    : settings_(writeToDisk),
      quarantine_(pathStatus,
                  StopSignal::process().token()),  // the engine's own stop waits for the pipe thread
      scan_(settings_, signatures_, stop_.get_token()),
      updates_(settings_, signatures_, stop_.get_token()),
      driver_(settings_, signatures_, detections_, stop_.get_token()),
      loops_({settings_, signatures_, detections_, scan_, updates_}, times, stop_.get_token()) {}

ScanWorker::~ScanWorker() {
  // A half-started engine ends its threads here. It saves nothing: its settings may never have been read from
  // the disk.
  if (stop_.request_stop()) endThreads();
}

bool ScanWorker::init(std::string* error) {
  Log::instance().open(logPath());
  logInfo(std::string("KorvelService starting, version ") + kServiceVersion);

  Settings settings;
  if (!readSettingsFile(settings, settingsPath())) {
    logWarning("config not found, using defaults");
    writeToDisk(settings);
  }
  (void)settings_.replace(settings);

  std::string loadError;
  std::shared_ptr<const SignatureDatabase> database =
      loadSignatureDatabase(settings, &loadError, stop_.get_token()).database;
  if (database) {
    const SignatureDbInfo info = database->info();
    logInfo("signatures loaded: " + std::to_string(info.entryCount) + " entries, version " + info.version);
  } else {
    logWarning("signature database not loaded: " + loadError);
  }
  signatures_.replace(std::move(database));

  if (!quarantine_.ensureStore(settings.quarantineDir, error)) return false;
  scan_.loadCache();
  return true;
}

bool ScanWorker::start(std::string*) {
  if (stop_.stop_requested()) return false;
  std::string linkError;
  if (driver_.connect(&linkError)) {
    logInfo("minifilter connected, kernel protection active");
  } else {
    logInfo("minifilter unavailable (" + linkError + "), using userspace realtime");
  }
  const SettingsFields settings = settings_.get();
  loops_.start(settings);
  logInfo(std::string("workers started (scheduled=") + onOff(settings.scheduledScan) +
          ", realtime=" + onOff(settings.realTimeEnabled && settings.protectionEnabled) + ")");
  return true;
}

void ScanWorker::stop() {
  if (!stop_.request_stop()) return;
  endThreads();
  try {
    saveSettings();
  } catch (const std::exception& exception) {
    logException(kLogError, "settings not saved: ", exception);  // the stop goes on
  }
  logInfo("workers stopped");
}

/// The order is part of the contract with the driver: its link ends first and may wait for one more message.
void ScanWorker::endThreads() {
  driver_.stop();
  (void)scan_.cancel();
  scan_.join();
  loops_.join();
  updates_.join();
}

EngineStatus ScanWorker::getStatus() const {
  EngineStatus status;
  status.serviceVersion = kServiceVersion;
  if (const SignaturesInForce::Pointer database = signatures_.current()) {
    const SignatureDbInfo info = database->info();
    status.signatureCount = info.entryCount;
    status.signatureVersion = info.version;
  }
  const SettingsFields settings = settings_.get();
  status.protectionEnabled = settings.protectionEnabled;
  status.realTimeActive = settings.realTimeEnabled && settings.protectionEnabled;
  status.scanRunning = scan_.running();
  driver_.fillStatus(status);
  updates_.fillStatus(status);
  return status;
}

bool ScanWorker::startScan(ScanScope scope, const std::vector<std::wstring>& targets, std::string* error) {
  return scan_.start(scope, targets, error);
}

bool ScanWorker::cancelScan() { return scan_.cancel(); }

void ScanWorker::reportScan(const TakeReport& take) {
  ScanReport report = scan_.report();
  detections_.handOut(report.events, [&] { return take(report); });
}

std::vector<ThreatRecord> ScanWorker::getResults() const { return scan_.results(); }

bool ScanWorker::quarantineThreat(const ThreatRecord& threat, std::string* error) {
  if (!quarantine_.addFile(settings_.get().quarantineDir, threat.path, threat.sha256, threat.name,
                           threat.code, threat.severity, /*outRecord=*/nullptr, error)) {
    return false;
  }
  logInfo("quarantined: " + toUtf8(threat.path));
  return true;
}

bool ScanWorker::deleteThreat(const ThreatRecord& threat, std::string* error) {
  const std::wstring directory = settings_.get().quarantineDir;
  QuarantineRecord stored;
  if (!quarantine_.addFile(directory, threat.path, threat.sha256, threat.name, threat.code, threat.severity,
                           &stored, error)) {
    return false;
  }
  if (!quarantine_.deleteRecord(directory, stored.id, error)) return false;
  logInfo("deleted: " + toUtf8(threat.path));
  return true;
}

std::vector<QuarantineRecord> ScanWorker::listQuarantine() {
  return quarantine_.listRecords(settings_.get().quarantineDir);
}

bool ScanWorker::restoreQuarantined(uint64_t id, std::string* error) {
  return quarantine_.restoreRecord(settings_.get().quarantineDir, id, error);
}

bool ScanWorker::deleteQuarantined(uint64_t id, std::string* error) {
  return quarantine_.deleteRecord(settings_.get().quarantineDir, id, error);
}

SettingsFields ScanWorker::getSettings() const { return settings_.get(); }

bool ScanWorker::applySettings(const SettingsFields& settings, std::string*) {
  const SettingsInForce::Changes changes = settings_.replace(settings);
  saveSettings();
  if (changes.realTimeEnabled) logInfo("real-time setting changed, service restart required");
  if (changes.webShield) loops_.wakeWebShield();
  return true;
}

bool ScanWorker::reloadSignatures(std::string* error) { return updates_.reloadSignatures(error); }
bool ScanWorker::startLiveUpdate(std::string* error) { return updates_.startLiveUpdate(error); }
bool ScanWorker::startUpdateCheck(std::string* error) { return updates_.startUpdateCheck(error); }

}  // namespace korvel::svc

// The engine's life, its settings and what it reports. The scan job is in scan_job.cpp, what happens to a
// detection in threat_response.cpp, the long-lived threads in background_loops.cpp, updates in
// update_jobs.cpp.
#include "engine/scan_worker.h"

#include <utility>

#include "base/utf.h"
#include "base/version.h"
#include "config/data_paths.h"
#include "config/settings_file.h"
#include "engine/signature_loader.h"
#include "scan/scan_cache.h"
#include "scan/signature_database.h"
#include "service/runtime/log.h"
#include "service/runtime/stop_signal.h"

namespace korvel::svc {
namespace {

void logInfo(const std::string& text) { Log::instance().write(kLogInfo, text); }
void logWarning(const std::string& text) { Log::instance().write(kLogWarning, text); }

const char* onOff(bool on) { return on ? "on" : "off"; }

}  // namespace

ScanWorker::ScanWorker(const LoopTimes& times) : times_(times) {}

ScanWorker::~ScanWorker() {
  // A half-started engine ends its threads here. It saves nothing: what it holds may never have been read.
  if (!stopping_.exchangeSet()) endThreads();
}

bool ScanWorker::init(std::string* error) {
  Log::instance().open(logPath());
  logInfo("KorvelService starting, version " + toUtf8(kServiceVersion));

  Settings settings;
  if (!readSettingsFile(settings, settingsPath())) {
    logWarning("config not found, using defaults");
    (void)writeSettingsFile(settings, settingsPath());
  }
  {
    const MutexLock lock(stateMutex_);
    settings_ = settings;
  }

  std::string loadError;
  std::shared_ptr<const SignatureDatabase> database = loadSignatureDatabase(settings, &loadError);
  if (database) {
    const SignatureDbInfo info = database->info();
    logInfo("signatures loaded: " + std::to_string(info.entryCount) + " entries, version " + info.version);
  } else {
    logWarning("signature database not loaded: " + loadError);
  }
  {
    const MutexLock lock(dbMutex_);
    database_ = std::move(database);
  }

  if (!quarantine_.ensureStore(settings.quarantineDir, error)) return false;
  scanCache_ = std::make_unique<ScanCache>();
  (void)scanCache_->load(scanCachePath());  // there is none before the first scan
  return true;
}

bool ScanWorker::start(std::string*) {
  if (stopping_.isSet()) return false;
  std::string linkError;
  if (filter_.connect([this](const std::wstring& path) { return allowAccess(path); }, &linkError)) {
    logInfo("minifilter connected, kernel protection active");
  } else {
    logInfo("minifilter unavailable (" + linkError + "), using userspace realtime");
  }
  const Settings settings = getSettings();
  const bool realTime = settings.realTimeEnabled && settings.protectionEnabled;
  if (settings.scheduledScan) scheduledThread_ = std::thread([this] { scheduledScanLoop(); });
  if (realTime) realtimeThread_ = std::thread([this] { realtimeLoop(); });
  if (!webShieldWake_) {
    webShieldWake_.reset(::CreateEventW(/*security=*/nullptr, /*manualReset=*/FALSE, /*initialState=*/FALSE,
                                        /*name=*/nullptr));
  }
  liveUpdateThread_ = std::thread([this] { liveUpdateLoop(); });
  webShieldThread_ = std::thread([this] { webShieldLoop(); });
  logInfo(std::string("workers started (scheduled=") + onOff(settings.scheduledScan) +
          ", realtime=" + onOff(realTime) + ")");
  return true;
}

void ScanWorker::stop() {
  if (stopping_.exchangeSet()) return;
  endThreads();
  saveSettings();
  logInfo("workers stopped");
}

bool ScanWorker::stopping() const { return stopping_.isSet() || StopSignal::process().requested(); }

/// The order is part of the contract with the driver: its link ends first and may wait for one more message.
void ScanWorker::endThreads() {
  const auto join = [](std::thread& thread) {
    if (thread.joinable()) thread.join();
  };
  filter_.stop();
  cancelRequested_.store(true);
  {
    const MutexLock lock(threadMutex_);
    join(scanThread_);
  }
  join(realtimeThread_);
  join(scheduledThread_);
  join(liveUpdateThread_);
  join(webShieldThread_);
  liveUpdateJob_.join();
  updateCheckJob_.join();
  webShieldWake_.reset();
}

bool ScanWorker::reloadSignatures(std::string* error) {
  std::shared_ptr<const SignatureDatabase> database = loadSignatureDatabase(getSettings(), error);
  if (!database) return false;
  const uint64_t entries = database->info().entryCount;
  {
    const MutexLock lock(dbMutex_);
    database_.swap(database);
  }
  database.reset();  // the old one, outside the lock: freeing millions of entries takes a while
  logInfo("signatures reloaded: " + std::to_string(entries) + " entries");
  return true;
}

bool ScanWorker::applySettings(const Settings& settings, std::string*) {
  bool realTimeChanged = false;
  bool webShieldChanged = false;
  {
    const MutexLock lock(stateMutex_);
    Settings updated = settings;
    if (updated.signatureDb.empty()) updated.signatureDb = settings_.signatureDb;
    if (updated.quarantineDir.empty()) updated.quarantineDir = settings_.quarantineDir;
    realTimeChanged = updated.realTimeEnabled != settings_.realTimeEnabled;
    webShieldChanged = updated.webShield != settings_.webShield;
    settings_ = std::move(updated);
  }
  saveSettings();
  if (realTimeChanged) logInfo("real-time setting changed, service restart required");
  if (webShieldChanged && webShieldWake_) ::SetEvent(webShieldWake_.get());
  return true;
}

void ScanWorker::saveSettings() {
  const MutexLock lock(saveMutex_);
  (void)writeSettingsFile(getSettings(), settingsPath());  // the record in memory stays in force
}

Settings ScanWorker::getSettings() const {
  const MutexLock lock(stateMutex_);
  return settings_;
}

EngineStatus ScanWorker::getStatus() const {
  EngineStatus status;
  status.serviceVersion = toUtf8(kServiceVersion);
  if (const std::shared_ptr<const SignatureDatabase> database = currentDatabase()) {
    const SignatureDbInfo info = database->info();
    status.signatureCount = info.entryCount;
    status.signatureVersion = info.version;
  }
  const Settings settings = getSettings();
  status.protectionEnabled = settings.protectionEnabled;
  status.realTimeActive = settings.realTimeEnabled && settings.protectionEnabled;
  status.minifilterConnected = filter_.connected();
  status.minifilterHandled = filter_.handled();
  status.scanRunning = scanning_.load();
  status.updateCheckRunning = updateCheckJob_.busy();
  status.updateCheckError = updateCheckJob_.lastError();
  status.liveUpdateRunning = liveUpdateJob_.busy();
  {
    const MutexLock lock(stateMutex_);
    status.updateCheckInstaller = toUtf8(updateCheckInstaller_);
  }
  return status;
}

ScanProgressInfo ScanWorker::getProgress() const {
  const MutexLock lock(stateMutex_);
  return progress_;
}

ScanSummary ScanWorker::getLastSummary() const {
  const MutexLock lock(stateMutex_);
  return lastSummary_;
}

std::vector<ThreatRecord> ScanWorker::getResults() const {
  const MutexLock lock(stateMutex_);
  return results_;
}

std::shared_ptr<const SignatureDatabase> ScanWorker::currentDatabase() const {
  const MutexLock lock(dbMutex_);
  return database_;
}

}  // namespace korvel::svc

// The protection engine: owns the settings in force, the signature database, the quarantine store, the scan
// cache and every background thread of the service.
//
// Life: construct, init() once, start() once, stop(); the engine host (service/engine_host.h) does that. All
// other operations may be called from any thread between init() and stop(). Texts handed back through
// `error` are UTF-8 and go to the user interface unchanged; `error` may be null.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "base/unique_resource.h"
#include "config/settings.h"
#include "engine/busy_job.h"
#include "engine/engine_status.h"
#include "engine/filter_link.h"
#include "engine/loop_times.h"
#include "engine/scan_scope.h"
#include "engine/stop_flag.h"
#include "engine/threat_record.h"
#include "remedy/quarantine_record.h"
#include "remedy/quarantine_store.h"
#include "scan/scan_file.h"
#include "scan/scan_records.h"

namespace korvel {
class FileScanner;
class ScanCache;
class SignatureDatabase;
}  // namespace korvel

namespace korvel::svc {

class ScanWorker {
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

  /// Starts a scan on its own thread; refuses with a text while stopping, unprotected or already scanning.
  bool startScan(ScanScope scope, const std::vector<std::wstring>& targets, std::string* error);
  /// Asks the running scan to end; returns whether that had been asked before.
  bool cancelScan();

  /// Loads the signature files anew and swaps the database in; the old one serves its holders to the end.
  bool reloadSignatures(std::string* error);
  /// Each starts its job on a thread of its own and refuses with a text while that job runs. How the job
  /// ended is in getStatus().
  bool startLiveUpdate(std::string* error);
  bool startUpdateCheck(std::string* error);

  /// Replaces and saves the settings. Empty signatureDb and quarantineDir keep the values in force.
  bool applySettings(const Settings& settings, std::string* error);
  void saveSettings();
  Settings getSettings() const;

  EngineStatus getStatus() const;
  ScanProgressInfo getProgress() const;
  bool isScanning() const { return scanning_.load(); }
  ScanSummary getLastSummary() const;
  std::vector<ThreatRecord> getResults() const;
  /// Hands out each pending event once, in order of detection.
  std::vector<ThreatRecord> takeEvents();
  /// Puts events back in front of the pending ones: those that did not fit into a reply.
  void returnEvents(std::vector<ThreatRecord> events);

  bool quarantineThreat(const ThreatRecord& threat, std::string* error);
  /// Moves the file into quarantine, then erases it there.
  bool deleteThreat(const ThreatRecord& threat, std::string* error);
  std::vector<QuarantineRecord> listQuarantine();
  bool restoreQuarantined(uint64_t id, std::string* error);
  bool deleteQuarantined(uint64_t id, std::string* error);

 private:
  /// Also while the process is about to call stop(): nothing new begins any more.
  bool stopping() const;
  void endThreads();

  // The bodies of the long-lived threads (background_loops.cpp).
  void scheduledScanLoop();
  void startScheduledScan();
  void realtimeLoop();
  void liveUpdateLoop();
  void webShieldLoop();
  bool waitForWebShield(uint32_t milliseconds);

  // The update jobs (update_jobs.cpp).
  void runAutomaticUpdate();
  bool liveUpdateJob(std::string* error);
  bool updateCheckJob(std::string* error);

  /// The driver's question: may this file be used? On the link's thread.
  bool allowAccess(const std::wstring& path);

  // The scan job, on scanThread_ (scan_job.cpp).
  void scanLoop(ScanScope scope, const std::vector<std::wstring>& targets);
  void runScan(ScanScope scope, const std::vector<std::wstring>& targets);
  ScanSummary countAndScan(FileScanner& scanner, const std::vector<ScanTarget>& targets);
  void finishScan(const ScanSummary& summary, std::chrono::steady_clock::time_point start);
  void endScanEarly(const wchar_t* state, bool cancelled);
  void setScanState(const wchar_t* state);
  void showProgress(const ScanProgressInfo& info);
  void takeVerdict(const FileVerdict& verdict);

  std::shared_ptr<const SignatureDatabase> currentDatabase() const;
  void recordThreat(const FileVerdict& verdict, bool pending);

  const LoopTimes times_;

  // Synchronise themselves.
  StopFlag stopping_;  // set once by stop(), never cleared
  QuarantineStore quarantine_;
  BusyJob liveUpdateJob_;
  BusyJob updateCheckJob_;

  // Created by init(), then used by the scan thread only.
  std::unique_ptr<ScanCache> scanCache_;

  // Used by the link's thread only.
  ScanScratch driverScratch_;

  mutable Mutex dbMutex_;  // held only to copy or swap the pointer
  std::shared_ptr<const SignatureDatabase> database_ GUARDED_BY(dbMutex_);

  mutable Mutex stateMutex_;  // held only to copy or swap a value
  Settings settings_ GUARDED_BY(stateMutex_);
  ScanProgressInfo progress_ GUARDED_BY(stateMutex_);
  ScanSummary lastSummary_ GUARDED_BY(stateMutex_);
  std::vector<ThreatRecord> results_ GUARDED_BY(stateMutex_);  // of the current or last scan
  std::vector<ThreatRecord> events_ GUARDED_BY(stateMutex_);   // not yet handed out
  std::wstring updateCheckInstaller_ GUARDED_BY(stateMutex_);  // saved by the last check; empty when none

  Mutex saveMutex_;  // one save at a time, so that the newest settings are the last to reach the disk

  Mutex threadMutex_;
  std::thread scanThread_ GUARDED_BY(threadMutex_);

  // Exchanged, so that "already running" needs no lock.
  std::atomic<bool> scanning_{false};
  std::atomic<bool> cancelRequested_{false};

  // Started by start(), joined by endThreads().
  FilterLink filter_;
  std::thread scheduledThread_;
  std::thread realtimeThread_;
  std::thread liveUpdateThread_;
  std::thread webShieldThread_;
  UniqueHandle webShieldWake_;  // auto-reset; may be missing
};

}  // namespace korvel::svc

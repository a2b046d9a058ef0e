// Fresh signatures and the self-update check. Both run on request on a job thread; the live update also runs
// on its own thread once a day.
#include <exception>
#include <string>
#include <utility>

#include "base/clock.h"
#include "config/data_paths.h"
#include "engine/scan_worker.h"
#include "net/live_feed.h"
#include "net/update_check.h"
#include "service/runtime/log.h"

namespace korvel::svc {

bool ScanWorker::startLiveUpdate(std::string* error) {
  return liveUpdateJob_.launch([] {}, [this](std::string* jobError) { return liveUpdateJob(jobError); },
                               error);
}

bool ScanWorker::startUpdateCheck(std::string* error) {
  const auto forgetInstaller = [this] {
    const MutexLock lock(stateMutex_);
    updateCheckInstaller_.clear();
  };
  return updateCheckJob_.launch(
      forgetInstaller, [this](std::string* jobError) { return updateCheckJob(jobError); }, error);
}

/// Not through startLiveUpdate(): the automatic run does not count as busy, so a requested one may run at the
/// same time. Both are whole; the feed builder makes them take turns in writing.
void ScanWorker::runAutomaticUpdate() {
  std::string error;
  try {
    if (liveUpdateJob(&error)) return;
  } catch (const std::exception& exception) {
    error = exception.what();
  }
  Log::instance().write(kLogWarning, "live update failed: " + error);
}

bool ScanWorker::liveUpdateJob(std::string* error) {
  uint64_t hashes = 0;
  if (!buildLiveDatabase(getSettings().updateServer, &hashes, error, &stopping_.flag())) return false;
  std::string reloadError;
  if (!reloadSignatures(&reloadError)) {
    // The file stays and is used at the next load that succeeds.
    Log::instance().write(kLogWarning, "live db fetched but reload failed: " + reloadError);
  }
  const uint64_t now = unixSecondsNow();
  {
    const MutexLock lock(stateMutex_);
    settings_.lastLiveUpdateUtc = now;
  }
  saveSettings();
  Log::instance().write(kLogInfo, "live signatures updated: " + std::to_string(hashes) + " hashes");
  return true;
}

bool ScanWorker::updateCheckJob(std::string* error) {
  std::wstring installer;
  if (!checkForUpdate(getSettings().updateServer, updatesDir(), &installer, error, &stopping_.flag()))
    return false;
  const MutexLock lock(stateMutex_);
  updateCheckInstaller_ = std::move(installer);
  return true;
}

}  // namespace korvel::svc

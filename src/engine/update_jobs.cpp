#include "engine/update_jobs.h"

#include <memory>
#include <utility>

#include "base/clock.h"
#include "base/error.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "engine/settings_in_force.h"
#include "engine/signature_loader.h"
#include "engine/signatures_in_force.h"
#include "net/live_feed.h"
#include "net/update_check.h"
#include "runtime/log.h"
#include "signatures/signature_database.h"

namespace korvel::svc {

bool UpdateJobs::startLiveUpdate(std::string* error) {
  return liveUpdate_.launch([] {}, [this](std::string* jobError) { return updateSignatures(jobError); },
                            error);
}

bool UpdateJobs::startUpdateCheck(std::string* error) {
  return updateCheck_.launch([this] { setInstaller({}); },
                             [this](std::string* jobError) { return checkProgram(jobError); }, error);
}

void UpdateJobs::runAutomaticUpdate() {
  std::string error;
  if (updateSignatures(&error) || stop_.stop_requested()) return;  // one that the stop has cut has not failed
  Log::instance().write(kLogWarning, "live update failed: " + error);
}

bool UpdateJobs::updateSignatures(std::string* error) {
  uint64_t hashes = 0;
  if (!buildLiveDatabase(settings_.get().updateServer, &hashes, error, stop_)) return false;
  std::string reloadError;
  if (!reloadSignatures(&reloadError) && !stop_.stop_requested()) {
    // The file stays and is used at the next load that succeeds.
    Log::instance().write(kLogWarning, "live db fetched but reload failed: " + reloadError);
  }
  settings_.update([now = unixSecondsNow()](SettingsFields& settings) { settings.lastLiveUpdateUtc = now; });
  settings_.save();
  Log::instance().write(kLogInfo, "live signatures updated: " + std::to_string(hashes) + " hashes");
  return true;
}

bool UpdateJobs::reloadSignatures(std::string* error) {
  LoadedSignatures loaded = loadSignatureDatabase(settings_.get(), error, stop_);
  if (!loaded.database) return false;
  if (loaded.cutByStop) return fail(error, "service is stopping");  // what is in force has more
  const uint64_t entries = loaded.database->info().entryCount;
  signatures_.replace(std::move(loaded.database));
  Log::instance().write(kLogInfo, "signatures reloaded: " + std::to_string(entries) + " entries");
  return true;
}

bool UpdateJobs::checkProgram(std::string* error) {
  std::wstring installer;
  if (!checkForUpdate(settings_.get().updateServer, updatesDir(), &installer, error, stop_)) return false;
  setInstaller(std::move(installer));
  return true;
}

void UpdateJobs::setInstaller(std::wstring path) {
  const MutexLock lock(mutex_);
  installer_ = std::move(path);
}

void UpdateJobs::fillStatus(EngineStatus& status) const {
  status.updateCheckRunning =
      updateCheck_.busy();  // first: the job stores its outcome before it counts as ended
  status.updateCheckError = updateCheck_.lastError();
  status.liveUpdateRunning = liveUpdate_.busy();
  const MutexLock lock(mutex_);
  status.updateCheckInstaller = toUtf8(installer_);
}

void UpdateJobs::join() {
  liveUpdate_.join();
  updateCheck_.join();
}

}  // namespace korvel::svc

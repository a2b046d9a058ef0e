// The live update of the signatures and the self-update check. Both run on request, each on a job thread; the
// live update also runs by itself once a day, on the thread that calls it. Thread-safe, except that join()
// must not race a start.
#pragma once

#include <string>

#include "base/mutex.h"
#include "base/stop.h"
#include "engine/busy_job.h"
#include "records/engine_status.h"

namespace korvel::svc {

class SettingsInForce;
class SignaturesInForce;

class UpdateJobs {
 public:
  /// `settings` and `signatures` must outlive the jobs; `stop` ends their downloads at once, whatever a
  /// server does.
  UpdateJobs(SettingsInForce& settings, SignaturesInForce& signatures, StopToken stop)
      : settings_(settings), signatures_(signatures), stop_(std::move(stop)) {}
  UpdateJobs(const UpdateJobs&) = delete;
  UpdateJobs& operator=(const UpdateJobs&) = delete;

  /// Each starts its job and refuses with a text while that job runs. fillStatus() says whether the jobs run
  /// and how the check ended.
  bool startLiveUpdate(std::string* error);
  bool startUpdateCheck(std::string* error);
  /// The live update of the day. It does not count as a running job, so a requested one may run at the same
  /// time: each is complete, and they write one after the other. A failure is logged.
  void runAutomaticUpdate();
  /// Loads the signature files anew and puts them in force; false with a text when no entry was loaded.
  bool reloadSignatures(std::string* error);

  void fillStatus(EngineStatus& status) const EXCLUDES(mutex_);
  /// Waits for the jobs that run.
  void join();

 private:
  bool updateSignatures(std::string* error);
  bool checkProgram(std::string* error) EXCLUDES(mutex_);
  void setInstaller(std::wstring path) EXCLUDES(mutex_);

  SettingsInForce& settings_;
  SignaturesInForce& signatures_;
  const StopToken stop_;

  mutable Mutex mutex_;
  std::wstring installer_ GUARDED_BY(mutex_);  // saved by the last check; empty when none

  BusyJob liveUpdate_;
  BusyJob updateCheck_;
};

}  // namespace korvel::svc

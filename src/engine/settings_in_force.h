// Holds the settings that the service works with and saves them to the disk. Thread-safe.
#pragma once

#include <functional>

#include "base/mutex.h"
#include "records/settings_fields.h"

namespace korvel::svc {

class SettingsInForce {
 public:
  /// Writes a record to settings.ini; handles its own failures.
  using Writer = std::function<void(const SettingsFields&)>;

  explicit SettingsInForce(Writer write) : write_(std::move(write)) {}

  SettingsFields get() const EXCLUDES(mutex_);

  /// What a replacement has changed.
  struct Changes {
    bool realTimeEnabled = false;
    bool webShield = false;
  };
  /// Puts `settings` in force. Empty signatureDb and quarantineDir keep the values in force.
  Changes replace(SettingsFields settings) EXCLUDES(mutex_);

  /// Changes single fields of the record in force: `change(settings)`, called under the lock.
  template <typename Change>
  void update(const Change& change) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    change(settings_);
  }

  /// Writes the settings in force at that moment; readers and changes do not wait for the disk.
  void save() EXCLUDES(saveMutex_, mutex_);

 private:
  const Writer write_;

  mutable Mutex mutex_;  // held only to copy or change the record
  SettingsFields settings_ GUARDED_BY(mutex_);

  Mutex saveMutex_;  // one save at a time, so that the newest settings are the last to reach the disk
};

}  // namespace korvel::svc

#include "engine/settings_in_force.h"

#include <utility>

namespace korvel::svc {

SettingsFields SettingsInForce::get() const {
  const MutexLock lock(mutex_);
  return settings_;
}

SettingsInForce::Changes SettingsInForce::replace(SettingsFields settings) {
  const MutexLock lock(mutex_);
  if (settings.signatureDb.empty()) settings.signatureDb = settings_.signatureDb;
  if (settings.quarantineDir.empty()) settings.quarantineDir = settings_.quarantineDir;
  const Changes changes{.realTimeEnabled = settings.realTimeEnabled != settings_.realTimeEnabled,
                        .webShield = settings.webShield != settings_.webShield};
  settings_ = std::move(settings);
  return changes;
}

void SettingsInForce::save() {
  const MutexLock lock(saveMutex_);
  write_(get());
}

}  // namespace korvel::svc

// The configuration and a few persisted counters as plain values: the content of settings.ini. All of them
// but the update server also travel on the pipe.
#pragma once

#include <cstdint>
#include <string>

namespace korvel {

/// A plain value. The two paths are empty by default: the service supplies their defaults
/// (config/settings.h).
struct SettingsFields {
  bool protectionEnabled = true;  ///< master switch of protection
  bool realTimeEnabled = true;
  bool scanArchives = false;        ///< stored and exchanged; scanning does not use it
  bool scanRemovable = false;       ///< stored and exchanged; scanning does not use it
  bool showThreatModal = true;      ///< for the user interface
  bool quarantineOnDetect = false;  ///< for the user interface
  bool scheduledScan = true;
  uint32_t scheduledHour = 4;  ///< 0 to 23, UTC
  uint64_t lastScanUtc = 0;    ///< Unix seconds; 0 = never
  uint64_t lastThreatCount = 0;
  bool liveUpdates = true;
  uint64_t lastLiveUpdateUtc = 0;  ///< Unix seconds; 0 = never
  bool webShield = true;
  std::string updateServer;  ///< base address, UTF-8; empty = none
  std::wstring signatureDb;  ///< the seed signature file
  std::wstring quarantineDir;

  bool operator==(const SettingsFields&) const = default;
};

inline constexpr uint32_t kHoursPerDay = 24;

}  // namespace korvel

// The engine's state as a status reply carries it.
#pragma once

#include <cstdint>
#include <string>

namespace korvel {

/// In the order of the status record on the pipe.
struct EngineStatus {
  std::string serviceVersion;
  uint64_t signatureCount = 0;   ///< 0 without a database
  std::string signatureVersion;  ///< empty without a database
  bool protectionEnabled = false;
  bool realTimeActive = false;  ///< real-time and protection both on
  bool minifilterConnected = false;
  bool scanRunning = false;
  bool updateCheckRunning = false;
  std::string updateCheckError;      ///< from the last self-update check; UTF-8
  uint64_t minifilterHandled = 0;    ///< driver queries answered
  bool liveUpdateRunning = false;    ///< a requested live update; not the automatic one
  std::string updateCheckInstaller;  ///< path of the installer that the last check saved; UTF-8

  bool operator==(const EngineStatus&) const = default;
};

}  // namespace korvel

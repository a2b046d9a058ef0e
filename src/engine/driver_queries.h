// Answers the minifilter driver's queries whether a file may be used. They arrive one at a time, on the
// link's thread.
#pragma once

#include <string>
#include <utility>

#include "base/stop.h"
#include "engine/filter_link.h"
#include "records/engine_status.h"
#include "scan/scan_file.h"

namespace korvel::svc {

class Detections;
class SettingsInForce;
class SignaturesInForce;

class DriverQueries {
 public:
  /// All three must outlive the object. Blocked files are added to `detections`. Once `stop` is requested,
  /// the query in hand and all later ones are allowed at once.
  DriverQueries(const SettingsInForce& settings, const SignaturesInForce& signatures, Detections& detections,
                StopToken stop)
      : settings_(settings), signatures_(signatures), detections_(detections), stop_(std::move(stop)) {}

  /// Connects to the driver and begins to answer. False with a text when the driver is not available. Call at
  /// most once. Throws std::system_error when no thread can be made.
  bool connect(std::string* error);
  /// Ends the link; may wait for one more message from the driver.
  void stop() { link_.stop(); }

  void fillStatus(EngineStatus& status) const;

 private:
  bool allowAccess(const std::wstring& path);

  const SettingsInForce& settings_;
  const SignaturesInForce& signatures_;
  Detections& detections_;
  const StopToken stop_;
  ScanScratch scratch_;  // used by the link's thread only
  FilterLink link_;      // last: its thread ends first
};

}  // namespace korvel::svc

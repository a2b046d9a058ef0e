#include "engine/driver_queries.h"

#include <exception>

#include "engine/detections.h"
#include "engine/scan_options.h"
#include "engine/settings_in_force.h"
#include "engine/signatures_in_force.h"
#include "engine/threat_naming.h"

namespace korvel::svc {

bool DriverQueries::connect(std::string* error) {
  return link_.connect([this](const std::wstring& path) { return allowAccess(path); }, error);
}

bool DriverQueries::allowAccess(const std::wstring& path) {
  if (stop_.stop_requested()) return true;
  try {
    const SignaturesInForce::Pointer database = signatures_.current();
    if (!database) return true;
    const ScanOptions options = scanOptionsFrom(settings_.get());
    const FileVerdict verdict =
        scanFile({database, options.maxFileSize, options.readChunk, stop_}, path, scratch_);
    // One level above what scans report: only a file that is surely harmful is blocked. A scan that the stop
    // has cut says nothing.
    if (verdict.severity < kSeverityHigh || stop_.stop_requested()) return true;
    detections_.add(makeThreatRecord(verdict));
    return false;
  } catch (const std::exception&) {
    return true;  // a failed scan must not lock the user out
  }
}

void DriverQueries::fillStatus(EngineStatus& status) const {
  status.minifilterConnected = link_.connected();
  status.minifilterHandled = link_.handled();
}

}  // namespace korvel::svc

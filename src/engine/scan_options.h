// How the settings shape a scan.
#pragma once

#include "config/settings.h"
#include "scan/scan_records.h"

namespace korvel::svc {

inline ScanOptions scanOptionsFrom(const Settings& settings) {
  ScanOptions options;
  options.scanArchives = settings.scanArchives;
  return options;
}

}  // namespace korvel::svc

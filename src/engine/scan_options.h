// How the settings shape a scan.
#pragma once

#include "records/settings_fields.h"
#include "scan/scan_records.h"

namespace korvel::svc {

inline ScanOptions scanOptionsFrom(const SettingsFields& settings) {
  ScanOptions options;
  options.scanArchives = settings.scanArchives;
  return options;
}

}  // namespace korvel::svc

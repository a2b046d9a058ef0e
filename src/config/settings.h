// The service's settings, with defaults for the two paths.
#pragma once

#include "records/settings_fields.h"

namespace korvel {

/// The plain fields with every default filled in: the two paths come from data_paths.h at the moment of
/// construction, which also creates the data directory.
struct Settings : SettingsFields {
  Settings();
};

}  // namespace korvel

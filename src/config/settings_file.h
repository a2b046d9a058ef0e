// Reads and writes settings.ini.
#pragma once

#include <string>

#include "base/stop.h"
#include "records/settings_fields.h"

namespace korvel {

/// Updates `settings` from the file. False only when it cannot be opened, is no file on a disk or has more
/// than 64 MiB; nothing changes then. Throws the exceptions of parseSettingsText().
bool readSettingsFile(SettingsFields& settings, const std::wstring& path);

/// Replaces the whole file with the guarantees of rewriteTextFile(). False only when it cannot be opened for
/// writing. When several threads save at the same time, the last one wins. `stop` ends the waiting for a file
/// that another program holds.
bool writeSettingsFile(const SettingsFields& settings, const std::wstring& path, const StopToken& stop = {});

}  // namespace korvel

// settings.ini on the disk.
#pragma once

#include <string>

#include "records/settings_fields.h"

namespace korvel {

/// Updates `settings` from the file; false only when it cannot be opened, and then nothing changes. Throws
/// what parseSettingsText() throws.
bool readSettingsFile(SettingsFields& settings, const std::wstring& path);

/// Replaces the whole file, so that a kill at any moment leaves the old or the new text. False only when it
/// cannot be opened for writing. Two savers at once do not tear the file; the last one wins.
bool writeSettingsFile(const SettingsFields& settings, const std::wstring& path);

}  // namespace korvel

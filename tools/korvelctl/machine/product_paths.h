// Where the service keeps its files, for reading. Nothing is created. Thread-safe.
#pragma once

#include <optional>
#include <string>

namespace korvel::ctl {

/// "C:\ProgramData\KORVEL Antivirus", whether it exists or not; empty when the system does not know.
std::wstring productDataFolder();
std::wstring productSettingsPath();

/// The base address of the update server from settings.ini; empty when there is none, or no file. Nothing
/// when the file cannot be read by the caller, or not as the service would read it.
std::optional<std::string> updateServerInFile();

}  // namespace korvel::ctl

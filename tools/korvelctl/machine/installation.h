// Where the pieces of an installation are. Nothing is created. Thread-safe.
#pragma once

#include <string>

namespace korvel::ctl {

/// This program's own file.
std::wstring ownProgram();
/// KorvelService.exe beside it, whether it exists or not.
std::wstring installedProgram();

struct InstalledFolders {
  std::wstring data;        ///< empty when the system does not know
  std::wstring quarantine;  ///< as the settings have it, else the default
  /// The quarantine inside the data folder, which belongs to the service alone; empty when it is configured
  /// to be elsewhere.
  std::wstring ownQuarantine;
};
InstalledFolders installedFolders();

}  // namespace korvel::ctl

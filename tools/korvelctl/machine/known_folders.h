// Folders that the system knows by name, of the caller's account. Nothing is created. Thread-safe.
#pragma once

#include <string>
#include <vector>

namespace korvel::ctl {

/// The folders in which files of other people arrive or from which programs start: Downloads, Desktop,
/// Documents, the temporary folder, the start-up folder of the Start menu. Only those that exist, each once.
std::vector<std::wstring> userFolders();

/// Folders that belong to the system or to a user as a whole, for which no program may set access rights: the
/// Windows folder, both program folders, ProgramData, Users, and the caller's profile, Desktop, Documents and
/// Downloads.
std::vector<std::wstring> sharedFolders();

}  // namespace korvel::ctl

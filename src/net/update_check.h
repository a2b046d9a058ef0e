// Asks the update server for the current release and downloads its installer. The installer is never run
// here: the user interface shows where it was saved.
#pragma once

#include <string>

#include "base/stop.h"

namespace korvel {

/// One check. True when this version is the released one (`installer` is emptied) or when the installer was
/// saved in `updatesDir` (`installer` receives its path; logged). Any other version than our own counts as
/// newer. On failure `installer` is unchanged, no file is left behind, and `error` holds a text for the user.
/// `installer` and `error` may be null; `error` is emptied first. `stop` as in httpGet(); it
/// also ends the waiting for an older installer that another program holds. Throws std::bad_alloc.
bool checkForUpdate(const std::string& updateServer, const std::wstring& updatesDir, std::wstring* installer,
                    std::string* error, const StopToken& stop = {});

}  // namespace korvel

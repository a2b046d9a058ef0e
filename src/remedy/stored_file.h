// The way of a file into quarantine, out of it, and its end there. Thread-safe, as far as the file system is.
#pragma once

#include <string>

#include "base/stop.h"

namespace korvel {

/// Moves `from` to `to` and replaces a file there. From one volume to another a file is copied and then
/// deleted; where it cannot be deleted, the copy is removed again and the move fails, so that the file is in
/// one place only. A file that is held is tried again as tryWhileHeld() does. On failure the reason is in
/// GetLastError().
bool moveFile(const std::wstring& from, const std::wstring& to, const StopToken& stop);

/// Deletes a file, be it read-only. One that runs or is held is deleted when the system starts the next time,
/// if this process has the rights of an administrator.
void eraseFile(const std::wstring& path);

}  // namespace korvel

// Removes what the service leaves on a machine. Not thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace korvel::ctl {

struct RemovalFailure {
  std::wstring path;
  uint32_t win32 = 0;
};

/// Deletes a folder with everything in it, or a file. A link is deleted itself, and what it leads to stays.
/// Nothing there is a success. What could not be deleted is returned; the rest has gone.
std::vector<RemovalFailure> removeTree(const std::wstring& path);

}  // namespace korvel::ctl

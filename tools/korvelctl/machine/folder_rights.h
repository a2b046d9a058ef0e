// Reads and sets the access lists of the service's folders. Links are never followed, so that nobody can lead
// a change to a folder of the system. Results are Windows error codes, 0 for success. Not thread-safe, since
// privileges of the process are switched on meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "korvelctl/model/access_rules.h"

namespace korvel::ctl {

/// The owner and the list of a file or folder.
uint32_t readAccessList(const std::wstring& path, AccessList& list);

/// "BUILTIN\Users" for a security identifier; the identifier itself when the system has no name for it.
std::string accountName(const std::string& identifier);

struct RightsFailure {
  std::wstring path;
  uint32_t win32 = 0;
};

struct RightsOutcome {
  size_t changed = 0;                   ///< files and folders that have the list now
  std::vector<RightsFailure> failures;  ///< what kept its old list
  /// Links, and files with a second name, which are left alone: they may lead elsewhere.
  std::vector<std::wstring> links;
  /// What had been made by somebody who is neither the system nor an administrator. It belongs to the
  /// administrators now, but its content is still that of whoever made it.
  std::vector<std::wstring> foreign;

  bool complete() const { return failures.empty() && links.empty(); }
};

/// Makes the folder, closed from its first moment on, or closes the one that is there with everything in it.
/// A data folder's `quarantine` (a path, may be empty) is left out. In a quarantine only the folder and its
/// index are closed: a stored file keeps the list that it came with, or else nobody could use it after it has
/// been restored.
RightsOutcome protectFolder(const std::wstring& folder, ProtectedFolder kind, const std::wstring& quarantine);

/// Gives a folder and everything in it back to what the parent folder passes on. A folder inside that has a
/// list of its own, as the quarantine has, keeps it.
uint32_t releaseFolder(const std::wstring& folder);

}  // namespace korvel::ctl

// The PATH variable of all users, in the registry. Its text keeps its type and its references to other
// variables, and is never cut. Running programs are told of a change. Not thread-safe.
#pragma once

#include <cstdint>
#include <string>

namespace korvel::ctl {

/// Whether to change anything or only to look what would change.
enum class PathChange { kMade, kOnlyLookedAt };

/// Adds `folder` at the end unless it is there. A Windows error code; an administrator is needed for a
/// change. `changed` tells whether the text differs afterwards, or would.
uint32_t addToEnvironmentPath(const std::wstring& folder, PathChange change, bool* changed);

/// Removes every entry that is `folder`.
uint32_t removeFromEnvironmentPath(const std::wstring& folder, PathChange change, bool* changed);

}  // namespace korvel::ctl

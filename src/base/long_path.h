// The form in which every path goes to the file API: `\\?\C:\folder\file` or `\\?\UNC\server\share\file`. It
// has no limit of 260 units, and every name in it is an ordinary one: `folder.`, `name ` and `nul.exe` too,
// which the API would otherwise change or take for a device.
//
// The prefix also switches off what the system does to a plain path ("." and "..", doubled and forward
// slashes), so that is done here. All functions are thread-safe; all but forFileApi() are pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvel {

/// A path that names no root of its own, in two parts.
struct RelativePath {
  std::wstring_view
      folder;  ///< "." for `name`, "\" for `\name`, "C:" for `C:name`: what GetFullPathNameW resolves
  std::wstring_view rest;  ///< what lies below that folder

  bool operator==(const RelativePath&) const = default;
};

/// Empty for a path that begins at a root: a drive, a share or a device. "C:" alone is the root of its drive.
std::optional<RelativePath> splitRelative(std::wstring_view path);

/// The `\\?\` form of a path that begins at a root, which ".." never leaves. No trailing dot or blank is
/// stripped. A separator at the end stays. A device path (`\\?\`, `\\.\`) is returned as it is, and so are
/// a path of the system's own namespace (`\??\`) and the empty path.
std::wstring extendedPath(std::wstring_view path);

/// The `\\?\` form of any path. Only for a relative one the system is asked, and only where its folder is.
/// Windows only.
std::wstring forFileApi(const std::wstring& path);

}  // namespace korvel

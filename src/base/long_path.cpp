#include "base/long_path.h"

#include <algorithm>

#include "base/paths.h"

namespace korvel {
namespace {

bool separatorAt(std::wstring_view path, size_t at) { return at < path.size() && isPathSeparator(path[at]); }

bool beginsWithTwoSeparators(std::wstring_view path) { return separatorAt(path, 0) && separatorAt(path, 1); }

bool isDevicePath(std::wstring_view path) {
  return beginsWithTwoSeparators(path) && path.size() > 2 && (path[2] == L'?' || path[2] == L'.') &&
         (path.size() == 3 || isPathSeparator(path[3]));
}

/// The spelling of drivers, which the system passes on as it is.
bool isNtPath(std::wstring_view path) { return path.starts_with(L"\\??\\"); }

bool hasDrive(std::wstring_view path) {
  return path.size() > 1 && path[1] == L':' && !isPathSeparator(path[0]);
}

void skipSeparators(std::wstring_view& path) {
  while (separatorAt(path, 0)) path.remove_prefix(1);
}

/// Takes one name off the front of `path`, with the separators behind it.
struct FirstName {
  explicit FirstName(std::wstring_view& path) {
    const auto end = std::find_if(path.begin(), path.end(), isPathSeparator);
    name = {path.begin(), end};
    path.remove_prefix(name.size());
    separated = !path.empty();
    skipSeparators(path);
  }
  std::wstring_view name;
  bool separated;  ///< a separator follows
};

void appendName(std::wstring& result, const FirstName& first) {
  result.append(first.name);
  if (first.separated) result.push_back(L'\\');
}

/// Appends the names of `path` to a root, which may end in a separator.
void appendResolved(std::wstring& result, std::wstring_view path) {
  const size_t root = result.size();
  while (!path.empty()) {
    const FirstName first(path);
    const bool parent = first.name == L"..";
    if (!parent && first.name != L".") {
      appendName(result, first);
      continue;
    }
    if (parent && result.size() > root) result.resize(result.find_last_of(L'\\', result.size() - 2) + 1);
    if (!first.separated && result.size() > root) result.pop_back();
  }
}

}  // namespace

std::optional<RelativePath> splitRelative(std::wstring_view path) {
  if (path.empty() || beginsWithTwoSeparators(path) || isNtPath(path)) return std::nullopt;
  if (isPathSeparator(path[0])) return RelativePath{L"\\", path.substr(1)};
  if (!hasDrive(path)) return RelativePath{L".", path};
  if (path.size() == 2 || isPathSeparator(path[2])) return std::nullopt;
  return RelativePath{path.substr(0, 2), path.substr(2)};
}

std::wstring extendedPath(std::wstring_view path) {
  if (path.empty() || isDevicePath(path) || isNtPath(path)) return std::wstring(path);

  const bool drive = hasDrive(path);
  std::wstring result = L"\\\\?\\";
  result.reserve(path.size() + 8);
  if (drive) result.append(path.substr(0, 2)).append(L"\\");
  path.remove_prefix(drive ? 2 : 0);
  skipSeparators(path);
  if (!drive) {
    result.append(L"UNC\\");
    appendName(result, FirstName(path));  // the server
    appendName(result, FirstName(path));  // the share
  }
  appendResolved(result, path);
  return result;
}

}  // namespace korvel

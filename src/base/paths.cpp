#include "base/paths.h"

namespace korvel {
namespace {

size_t skipSeparators(std::wstring_view path, size_t at) {
  while (at < path.size() && isPathSeparator(path[at])) ++at;
  return at;
}

size_t skipComponent(std::wstring_view path, size_t at) {
  while (at < path.size() && !isPathSeparator(path[at])) ++at;
  return at;
}

}  // namespace

std::wstring_view fileNameView(std::wstring_view path) {
  const size_t separator = path.find_last_of(L"\\/");
  return separator == std::wstring_view::npos ? path : path.substr(separator + 1);
}

std::wstring fileName(std::wstring_view path) { return std::wstring(fileNameView(path)); }

size_t rootLength(std::wstring_view path) {
  const bool network =
      path.size() > 2 && isPathSeparator(path[0]) && isPathSeparator(path[1]) && !isPathSeparator(path[2]);
  if (network) {
    const size_t share = skipSeparators(path, skipComponent(path, 2));
    return skipSeparators(path, skipComponent(path, share));
  }
  const size_t drive = path.size() >= 2 && path[1] == L':' ? 2 : 0;
  return skipSeparators(path, drive);
}

std::wstring parentDirectory(std::wstring_view path) {
  const size_t root = rootLength(path);
  size_t end = path.size();
  while (end > root && isPathSeparator(path[end - 1])) --end;
  while (end > root && !isPathSeparator(path[end - 1])) --end;
  while (end > root && isPathSeparator(path[end - 1])) --end;
  return std::wstring(path.substr(0, end));
}

std::wstring joinPath(std::wstring_view directory, std::wstring_view name) {
  std::wstring result(directory);
  if (!result.empty() && !isPathSeparator(result.back())) result.push_back(L'\\');
  result.append(name);
  return result;
}

}  // namespace korvel

#include "base/long_path.h"

#include <algorithm>

namespace korvel {
namespace {

// CreateDirectoryW reserves 12 units for a file name within MAX_PATH (260, with the terminating NUL).
constexpr size_t kLongestPlainPath = 247;

}  // namespace

std::wstring forFileApi(const std::wstring& path) {
  if (path.size() <= kLongestPlainPath || path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\"))
    return path;
  std::wstring result = path;
  std::replace(result.begin(), result.end(), L'/', L'\\');
  if (result.starts_with(L"\\\\")) return L"\\\\?\\UNC\\" + result.substr(2);
  const bool absolute = result.size() > 2 && result[1] == L':' && result[2] == L'\\';
  return absolute ? L"\\\\?\\" + result : path;
}

}  // namespace korvel

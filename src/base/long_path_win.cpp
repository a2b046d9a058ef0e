#include "base/long_path.h"

#include "base/paths.h"
#include "base/win.h"

namespace korvel {
namespace {

/// Empty where the system does not know.
std::wstring fullPath(const std::wstring& folder) {
  std::wstring result;
  DWORD length = MAX_PATH;
  do {
    result.resize(length);
    length = ::GetFullPathNameW(folder.c_str(), static_cast<DWORD>(result.size()), result.data(),
                                /*filePart=*/nullptr);
  } while (length > result.size());  // then it is the room that is needed
  result.resize(length);
  return result;
}

}  // namespace

std::wstring forFileApi(const std::wstring& path) {
  const std::wstring_view given = path.c_str();  // up to a NUL, as the API sees it
  const std::optional<RelativePath> relative = splitRelative(given);
  if (!relative) return extendedPath(given);
  const std::wstring folder = fullPath(std::wstring(relative->folder));
  return folder.empty() ? path : extendedPath(joinPath(folder, relative->rest));
}

}  // namespace korvel

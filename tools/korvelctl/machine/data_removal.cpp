#include "korvelctl/machine/data_removal.h"

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/unique_resource.h"
#include "base/win.h"

namespace korvel::ctl {
namespace {

std::vector<std::wstring> namesIn(const std::wstring& folder) {
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW entry{};
  const UniqueFindHandle find(::FindFirstFileW(joinPath(forFileApi(folder), L"*").c_str(), &entry));
  if (!find) return names;  // the folder itself then cannot be removed, and that is told
  do {
    const std::wstring name = entry.cFileName;
    if (name != L"." && name != L"..") names.push_back(name);
  } while (::FindNextFileW(find.get(), &entry));
  return names;
}

void removeInto(std::vector<RemovalFailure>& failures, const std::wstring& path) {
  const std::wstring apiPath = forFileApi(path);
  const DWORD attributes = ::GetFileAttributesW(apiPath.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD code = ::GetLastError();
    if (pathStatusFromError(code) != PathStatus::kMissing) failures.push_back({path, code});
    return;
  }
  const bool isFolder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const bool isLink = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  if (isFolder && !isLink) {
    for (const std::wstring& name : namesIn(path)) removeInto(failures, joinPath(path, name));
  }
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0 && !isLink)
    (void)::SetFileAttributesW(apiPath.c_str(), FILE_ATTRIBUTE_NORMAL);  // the deletion below decides
  const auto attempt = [&apiPath, isFolder] {
    return (isFolder ? ::RemoveDirectoryW(apiPath.c_str()) : ::DeleteFileW(apiPath.c_str())) != FALSE;
  };
  if (!tryWhileHeld(attempt)) failures.push_back({path, ::GetLastError()});
}

}  // namespace

std::vector<RemovalFailure> removeTree(const std::wstring& path) {
  std::vector<RemovalFailure> failures;
  removeInto(failures, path);
  return failures;
}

}  // namespace korvel::ctl

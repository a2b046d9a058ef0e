#include "korvelctl/machine/known_folders.h"

#include <algorithm>

#include "base/long_path.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/unique_resource.h"

#include <knownfolders.h>
#include <objbase.h>
#include <shlobj.h>

namespace korvel::ctl {
namespace {

struct TaskMemoryTraits {
  using Value = wchar_t*;
  static Value empty() { return nullptr; }
  static bool valid(wchar_t* memory) { return memory != nullptr; }
  static void close(wchar_t* memory) { ::CoTaskMemFree(memory); }
};

/// Empty when the system does not know the folder. It may not exist.
std::wstring knownFolder(const KNOWNFOLDERID& id) {
  UniqueResource<TaskMemoryTraits> path;
  const HRESULT result = ::SHGetKnownFolderPath(id, KF_FLAG_DONT_VERIFY, /*token=*/nullptr, path.receive());
  return SUCCEEDED(result) && path ? path.get() : std::wstring();
}

bool isFolder(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(forFileApi(path).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void addOnce(std::vector<std::wstring>& folders, const std::wstring& folder) {
  const auto same = [&](const std::wstring& other) { return lowerWide(other) == lowerWide(folder); };
  if (!folder.empty() && std::none_of(folders.begin(), folders.end(), same)) folders.push_back(folder);
}

std::wstring windowsFolder() {
  wchar_t path[MAX_PATH + 1] = {};
  const UINT units = ::GetSystemWindowsDirectoryW(path, MAX_PATH);
  return units > 0 && units < MAX_PATH ? path : L"C:\\Windows";
}

}  // namespace

std::vector<std::wstring> userFolders() {
  std::vector<std::wstring> folders;
  addOnce(folders, knownFolder(FOLDERID_Downloads));
  addOnce(folders, knownFolder(FOLDERID_Desktop));
  addOnce(folders, knownFolder(FOLDERID_Documents));
  if (const std::wstring local = knownFolder(FOLDERID_LocalAppData); !local.empty())
    addOnce(folders, joinPath(local, L"Temp"));
  addOnce(folders, knownFolder(FOLDERID_Startup));
  std::erase_if(folders, [](const std::wstring& folder) { return !isFolder(folder); });
  return folders;
}

std::vector<std::wstring> sharedFolders() {
  std::vector<std::wstring> folders;
  addOnce(folders, windowsFolder());
  for (const KNOWNFOLDERID& id :
       {FOLDERID_ProgramFiles, FOLDERID_ProgramFilesX86, FOLDERID_ProgramFilesCommon, FOLDERID_ProgramData,
        FOLDERID_UserProfiles, FOLDERID_Public, FOLDERID_Profile, FOLDERID_Desktop, FOLDERID_Documents,
        FOLDERID_Downloads, FOLDERID_LocalAppData, FOLDERID_RoamingAppData}) {
    addOnce(folders, knownFolder(id));
  }
  return folders;
}

}  // namespace korvel::ctl

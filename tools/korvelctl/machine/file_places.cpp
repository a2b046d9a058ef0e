#include "korvelctl/machine/file_places.h"

#include "base/long_path.h"
#include "base/unique_resource.h"
#include "base/win.h"
#include "korvelctl/machine/product_paths.h"
#include "korvelctl/model/scan_outcome.h"

namespace korvel::ctl {

std::wstring realPath(const std::wstring& path) {
  // No right is needed to ask for a name.
  const UniqueHandle file(::CreateFileW(forFileApi(path).c_str(), /*access=*/0,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                        /*security=*/nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS,
                                        /*template=*/nullptr));
  if (!file) return path;
  std::wstring name(MAX_PATH, L'\0');
  for (;;) {
    const DWORD units = ::GetFinalPathNameByHandleW(file.get(), name.data(), static_cast<DWORD>(name.size()),
                                                    FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    if (units == 0) return path;
    if (units < name.size()) {
      name.resize(units);
      return name;
    }
    name.resize(units + 1);
  }
}

FilePlaces::FilePlaces(const std::wstring& quarantineFolder)
    : quarantine_(quarantineFolder.empty() ? productDataFolder() + L"\\Quarantine" : quarantineFolder),
      realQuarantine_(realPath(quarantine_)) {
  wchar_t folder[MAX_PATH];
  const UINT units = ::GetSystemWindowsDirectoryW(folder, MAX_PATH);
  windows_.assign(folder, units < MAX_PATH ? units : 0);
  realWindows_ = realPath(windows_);
}

FilePlace FilePlaces::of(const std::wstring& path) const {
  const std::wstring real = realPath(path);
  const auto lies = [&](const std::wstring& folder, const std::wstring& realFolder) {
    return isBelow(path, folder) || isBelow(real, folder) || isBelow(real, realFolder);
  };
  return {lies(quarantine_, realQuarantine_), lies(windows_, realWindows_)};
}

}  // namespace korvel::ctl

#include "scan/scan_targets.h"

#include <string>

#include "base/files.h"
#include "base/paths.h"
#include "base/win.h"

namespace korvel {
namespace {

constexpr const wchar_t* kUserFolders[] = {
    L"\\Downloads", L"\\Desktop", L"\\Documents", L"\\AppData\\Local\\Temp", L"\\Temp",
};
constexpr const wchar_t* kProgramFolders[] = {
    L"C:\\Windows\\System32",
    L"C:\\Program Files",
    L"C:\\Program Files (x86)",
};

std::wstring userProfile() {
  wchar_t buffer[32'768];  // the longest value an environment variable can have
  const DWORD length =
      ::GetEnvironmentVariableW(L"USERPROFILE", buffer, static_cast<DWORD>(std::size(buffer)));
  return length == 0 ? L"C:\\" : std::wstring(buffer, length);
}

}  // namespace

std::vector<ScanTarget> quickTargets() {
  std::vector<ScanTarget> targets;
  const auto addExisting = [&targets](const std::wstring& path, bool recursive) {
    if (pathExists(path)) targets.push_back({path, recursive});
  };
  const std::wstring profile = userProfile();
  const bool endsInSeparator = isPathSeparator(profile.back());
  for (const wchar_t* folder : kUserFolders) {
    addExisting(profile + (endsInSeparator ? folder + 1 : folder), /*recursive=*/true);
  }
  addExisting(profile, /*recursive=*/false);
  for (const wchar_t* folder : kProgramFolders) targets.push_back({folder, /*recursive=*/true});
  return targets;
}

std::vector<ScanTarget> fullTargets() {
  std::vector<ScanTarget> targets;
  for (wchar_t letter = L'A'; letter <= L'Z'; ++letter) {
    const std::wstring root = std::wstring(1, letter) + L":\\";
    const UINT type = ::GetDriveTypeW(root.c_str());
    if (type == DRIVE_FIXED || type == DRIVE_REMOVABLE) targets.push_back({root, /*recursive=*/true});
  }
  return targets;
}

}  // namespace korvel

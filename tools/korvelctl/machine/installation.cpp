#include "korvelctl/machine/installation.h"

#include <exception>

#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/sizes.h"
#include "base/text.h"
#include "base/win.h"
#include "config/settings_text.h"
#include "korvelctl/machine/product_paths.h"

namespace korvel::ctl {
namespace {

constexpr DWORD kPathUnits = 32 * kKiB;
constexpr uint64_t kMostSettingsBytes = 64 * kMiB;

/// The folder that the settings name; empty when they name none or cannot be read.
std::wstring configuredQuarantine() {
  std::string text;
  if (!readWholeFile(productSettingsPath(), text, kMostSettingsBytes)) return {};
  SettingsFields settings;
  try {
    parseSettingsText(text, settings);
  } catch (const std::exception&) {  // a value with which the service would not start either
    return {};
  }
  return settings.quarantineDir;
}

}  // namespace

std::wstring ownProgram() {
  std::wstring path(kPathUnits, L'\0');
  path.resize(::GetModuleFileNameW(/*module=*/nullptr, path.data(), kPathUnits));
  return path;
}

std::wstring installedProgram() { return joinPath(parentDirectory(ownProgram()), L"KorvelService.exe"); }

InstalledFolders installedFolders() {
  InstalledFolders folders;
  folders.data = productDataFolder();
  folders.quarantine = configuredQuarantine();
  if (folders.quarantine.empty()) folders.quarantine = joinPath(folders.data, L"Quarantine");
  // Compared without "..", with which a path may begin in one folder and end in another.
  const std::wstring whole = forFileApi(folders.quarantine);
  if (!folders.data.empty() && lowerWide(whole).starts_with(lowerWide(forFileApi(folders.data)) + L"\\"))
    folders.ownQuarantine = folders.quarantine;
  return folders;
}

}  // namespace korvel::ctl

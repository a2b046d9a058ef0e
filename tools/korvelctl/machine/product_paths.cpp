#include "korvelctl/machine/product_paths.h"

#include <shlobj.h>

#include <stdexcept>

#include "base/files.h"
#include "base/sizes.h"
#include "base/unique_resource.h"
#include "config/settings_text.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostSettingsBytes = 64 * kMiB;

}  // namespace

std::wstring productDataFolder() {
  PWSTR folder = nullptr;
  const HRESULT result =
      ::SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_DONT_VERIFY, /*token=*/nullptr, &folder);
  std::wstring path;
  if (SUCCEEDED(result) && folder != nullptr) path = std::wstring(folder) + L"\\KORVEL Antivirus";
  ::CoTaskMemFree(folder);
  return path;
}

std::wstring productSettingsPath() { return productDataFolder() + L"\\settings.ini"; }

std::optional<std::string> updateServerInFile() {
  std::string text;
  if (!readWholeFile(productSettingsPath(), text, kMostSettingsBytes)) return std::nullopt;
  SettingsFields settings;
  try {
    parseSettingsText(text, settings);
  } catch (const std::logic_error&) {  // a value that keeps the service from starting
    return std::nullopt;
  }
  return settings.updateServer;
}

}  // namespace korvel::ctl

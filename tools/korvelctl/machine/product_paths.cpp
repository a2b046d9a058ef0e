#include "korvelctl/machine/product_paths.h"

#include <stdexcept>

#include "base/files.h"
#include "base/sizes.h"
#include "config/data_paths.h"
#include "config/settings_text.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kMostSettingsBytes = 64 * kMiB;

}  // namespace

std::wstring productDataFolder() { return whereDataDirIs(); }

std::wstring productSettingsPath() { return productDataFolder() + L"\\settings.ini"; }

std::optional<std::string> updateServerInFile() {
  std::string text;
  if (!readWholeFile(productSettingsPath(), text, kMostSettingsBytes)) {
    if (pathStatusFromError(::GetLastError()) == PathStatus::kMissing) return std::string();
    return std::nullopt;
  }
  SettingsFields settings;
  try {
    parseSettingsText(text, settings);
  } catch (const std::logic_error&) {  // a value that keeps the service from starting
    return std::nullopt;
  }
  return settings.updateServer;
}

}  // namespace korvel::ctl

#include "korvelctl/machine/update_server.h"

#include <algorithm>
#include <stdexcept>

#include "base/files.h"
#include "base/paths.h"
#include "base/text.h"
#include "config/settings_file.h"
#include "korvelctl/machine/product_paths.h"

namespace korvel::ctl {
namespace {

constexpr size_t kMostAddressBytes = 2'000;

}  // namespace

bool isServerAddress(const std::string& url) {
  const std::string lower = lowerAscii(url);
  const size_t scheme = lower.starts_with("http://") ? 7 : lower.starts_with("https://") ? 8 : 0;
  if (scheme == 0 || url.size() > kMostAddressBytes) return false;
  if (url.size() == scheme || url[scheme] == '/' || url[scheme] == ':') return false;
  return std::none_of(url.begin(), url.end(),
                      [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' || c == '"'; });
}

ServerChange configureUpdateServer(const std::string& url, const std::wstring& programFolder, bool onlyLook,
                                   std::string* before) {
  before->clear();
  const std::wstring path = productSettingsPath();
  // The defaults that the service would start with.
  SettingsFields settings;
  settings.signatureDb = joinPath(programFolder, L"data\\signatures.seed.txt");
  settings.quarantineDir = joinPath(productDataFolder(), L"Quarantine");
  try {
    if (!readSettingsFile(settings, path) && pathStatus(path) != PathStatus::kMissing)
      return ServerChange::kUnreadable;
  } catch (const std::logic_error&) {  // a value that keeps the service from starting
    return ServerChange::kUnreadable;
  }
  *before = settings.updateServer;
  if (!before->empty()) return ServerChange::kKept;
  if (onlyLook) return ServerChange::kWritten;
  settings.updateServer = url;
  if (!createDirectories(parentDirectory(path)) || !writeSettingsFile(settings, path))
    return ServerChange::kNotWritten;
  return ServerChange::kWritten;
}

}  // namespace korvel::ctl

#include "config/settings_file.h"

#include "base/files.h"
#include "base/sizes.h"
#include "config/settings_text.h"

namespace korvel {
namespace {

constexpr uint64_t kMaxSettingsBytes = 64 * kMiB;  // far above any text of sixteen settings

}  // namespace

bool readSettingsFile(SettingsFields& settings, const std::wstring& path) {
  const UniqueHandle file = openForReading(path, kMaxSettingsBytes);
  if (!file) return false;
  std::string text;
  (void)readToEnd(file.get(), text, kMaxSettingsBytes);  // a read error ends the text
  parseSettingsText(text, settings);
  return true;
}

bool writeSettingsFile(const SettingsFields& settings, const std::wstring& path, const StopToken& stop) {
  return rewriteTextFile(path, formatSettingsText(settings), stop);
}

}  // namespace korvel

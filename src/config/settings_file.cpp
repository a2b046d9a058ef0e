#include "config/settings_file.h"

#include "base/files.h"
#include "config/settings_text.h"

namespace korvel {

bool readSettingsFile(SettingsFields& settings, const std::wstring& path) {
  const UniqueHandle file = openForReading(path);
  if (!file) return false;
  std::string text;
  (void)readToEnd(file.get(), text);  // a read error ends the text
  parseSettingsText(text, settings);
  return true;
}

bool writeSettingsFile(const SettingsFields& settings, const std::wstring& path) {
  return rewriteTextFile(path, formatSettingsText(settings));
}

}  // namespace korvel

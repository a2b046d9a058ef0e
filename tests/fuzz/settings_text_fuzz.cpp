// The settings reader on arbitrary bytes. What it accepted must survive being written and read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "config/settings_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  korvel::SettingsFields settings;
  try {
    korvel::parseSettingsText(std::string_view(reinterpret_cast<const char*>(data), size), settings);
  } catch (const std::invalid_argument&) {
    return 0;  // a bad hour stops the reader
  } catch (const std::out_of_range&) {
    return 0;
  }
  if (settings.scheduledHour > 23) std::abort();

  korvel::SettingsFields again;
  korvel::parseSettingsText(korvel::formatSettingsText(settings), again);
  if (again != settings) std::abort();
  return 0;
}

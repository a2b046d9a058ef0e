// Any document and any key: what is read stands in the document, apart from the backslashes taken out.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "net/release_text.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view document(reinterpret_cast<const char*>(data), size);
  for (const std::string_view key : {"version", "url", "windows", ""}) {
    const auto value = jsonStringField(document, key);
    if (!value) continue;
    if (value->size() + 2 > size) std::abort();
    if (document.find('\\') == std::string_view::npos &&
        document.find('"' + *value + '"') == std::string_view::npos) {
      std::abort();
    }
  }
  WindowsRelease release;
  std::string error;
  const bool read = readWindowsRelease(document, release, &error);
  if (read != error.empty()) std::abort();
  if (read && document.find("\"windows\"") == std::string_view::npos) std::abort();
  (void)looksLikeInstaller(document);
  return 0;
}

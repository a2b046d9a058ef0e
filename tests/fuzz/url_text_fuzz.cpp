// Joined addresses have one slash where server and path meet; widening keeps every byte's value.
#include <cstdlib>

#include "net/url_text.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string url = serverUrl(text, "/api/v1/blocklist");
  if (!url.ends_with("/api/v1/blocklist") || url.ends_with("//api/v1/blocklist")) std::abort();
  if (!text.starts_with(url.substr(0, url.size() - 17))) std::abort();

  const std::wstring wide = widenBytes(text);
  if (wide.size() != size) std::abort();
  for (size_t i = 0; i < size; ++i) {
    if (wide[i] != static_cast<wchar_t>(data[i])) std::abort();
  }
  if (hasForeignScheme(text) && (text.find("://") == std::string_view::npos || text.starts_with("http://")))
    std::abort();
  return 0;
}

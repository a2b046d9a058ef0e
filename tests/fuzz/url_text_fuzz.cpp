// Joined addresses have one slash where server and path meet; widening keeps every byte's value; schemes and
// lengths are judged as by a plain reading of the rules.
#include <algorithm>
#include <cstdlib>
#include <regex>

#include "net/url_text.h"

using namespace korvel;

namespace {

bool plainlyForeign(const std::string& url) {
  static const std::regex scheme("([A-Za-z][A-Za-z0-9+.-]*):([^/?#]*)[\\s\\S]*");
  static const std::regex http("[Hh][Tt][Tt][Pp][Ss]?");
  static const std::regex port("[0-9]+");
  std::smatch match;
  if (url.size() > 1000) return hasForeignScheme(url);  // the library's matcher recurses once per character
  if (!std::regex_match(url, match, scheme)) return false;
  return !std::regex_match(match[1].str(), http) && !std::regex_match(match[2].str(), port);
}

}  // namespace

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
  if (hasForeignScheme(text) != plainlyForeign(std::string(text))) std::abort();
  // A length is what its digits say, and nothing else is a length.
  const std::optional<uint64_t> length = parseContentLength(wide);
  const size_t zeros = std::min(text.find_first_not_of('0'), size);
  if (length && text.substr(zeros) != (*length == 0 ? "" : std::to_string(*length))) std::abort();
  return 0;
}

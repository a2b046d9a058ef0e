#include "net/release_text.h"

#include "base/error.h"
#include "base/sizes.h"

namespace korvel {
namespace {

constexpr std::string_view kWindowsKey = "\"windows\"";
constexpr std::string_view kNextPlatformKey = "\"android\"";
constexpr size_t kMinInstallerBytes = 64 * kKiB;

}  // namespace

std::optional<std::string> jsonStringField(std::string_view text, std::string_view key) {
  const std::string quotedKey = '"' + std::string(key) + '"';
  size_t at = text.find(quotedKey);
  if (at == std::string_view::npos) return std::nullopt;
  at = text.find(':', at + quotedKey.size());
  if (at == std::string_view::npos) return std::nullopt;
  at = text.find('"', at);
  if (at == std::string_view::npos) return std::nullopt;

  std::string value;
  for (++at; at < text.size(); ++at) {
    if (text[at] == '"') return value;
    if (text[at] == '\\' && ++at == text.size()) break;
    value.push_back(text[at]);
  }
  return std::nullopt;
}

bool readWindowsRelease(std::string_view document, WindowsRelease& release, std::string* error) {
  const size_t begin = document.find(kWindowsKey);
  if (begin == std::string_view::npos) return fail(error, "в releases.json нет секции windows");
  const size_t end = document.find(kNextPlatformKey, begin + kWindowsKey.size());
  const std::string_view section = document.substr(begin, end == std::string_view::npos ? end : end - begin);

  std::optional<std::string> version = jsonStringField(section, "version");
  std::optional<std::string> url = jsonStringField(section, "url");
  if (!version || !url) return fail(error, "в секции windows нет version/url");
  release = {std::move(*version), std::move(*url)};
  return true;
}

bool looksLikeInstaller(std::string_view body) {
  return body.size() >= kMinInstallerBytes && body.substr(0, 2) == "MZ";
}

}  // namespace korvel

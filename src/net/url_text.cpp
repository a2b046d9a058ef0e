#include "net/url_text.h"

#include <algorithm>

#include "base/text.h"

namespace korvel {
namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isSchemeName(std::string_view name) {
  if (name.empty() || !isLetter(name.front())) return false;
  for (const char c : name) {
    if (!isLetter(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

/// Whether what follows a colon is the port of a host.
bool isPort(std::string_view rest) {
  const std::string_view port = rest.substr(0, rest.find_first_of("/?#"));
  return !port.empty() && std::all_of(port.begin(), port.end(), isDigit);
}

}  // namespace

std::string serverUrl(std::string_view server, std::string_view path) {
  while (!server.empty() && server.back() == '/') server.remove_suffix(1);
  std::string url(server);
  url += path;
  return url;
}

std::wstring widenBytes(std::string_view url) {
  std::wstring wide;
  wide.reserve(url.size());
  for (const char c : url) wide.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
  return wide;
}

bool hasForeignScheme(std::string_view url) {
  const size_t colon = url.find(':');
  if (colon == std::string_view::npos) return false;
  const std::string_view name = url.substr(0, colon);
  if (!isSchemeName(name) || isPort(url.substr(colon + 1))) return false;
  const std::string scheme = lowerAscii(name);
  return scheme != "http" && scheme != "https";
}

std::optional<uint64_t> parseContentLength(std::wstring_view value) {
  if (value.empty()) return std::nullopt;
  uint64_t length = 0;
  for (const wchar_t unit : value) {
    if (unit < L'0' || unit > L'9') return std::nullopt;
    const auto digit = static_cast<uint64_t>(unit - L'0');
    if (length > (UINT64_MAX - digit) / 10) return std::nullopt;
    length = length * 10 + digit;
  }
  return length;
}

}  // namespace korvel

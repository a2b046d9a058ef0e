#include "net/url_text.h"

#include "base/text.h"

namespace korvel {
namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool isSchemeName(std::string_view name) {
  if (name.empty() || !isLetter(name.front())) return false;
  for (const char c : name) {
    if (!isLetter(c) && !(c >= '0' && c <= '9') && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
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
  const size_t end = url.find("://");
  if (end == std::string_view::npos) return false;
  const std::string_view name = url.substr(0, end);
  if (!isSchemeName(name)) return false;
  const std::string scheme = lowerAscii(name);
  return scheme != "http" && scheme != "https";
}

}  // namespace korvel

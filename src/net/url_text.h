// Addresses as texts: joining a path to a server's base address, and the scheme test that decides which error
// a caller sees. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace korvel {

/// `server` without its trailing slashes, followed by `path` (which begins with a slash).
std::string serverUrl(std::string_view server, std::string_view path);

/// Each byte becomes the UTF-16 unit of the same value: addresses are plain ASCII, and UTF-8 is not decoded.
std::wstring widenBytes(std::string_view url);

/// True when `url` begins with a scheme, "name://", that is neither http nor https (in any case).
bool hasForeignScheme(std::string_view url);

}  // namespace korvel

// Addresses and header values as texts: joining a path to a server's base address, the scheme test that
// decides which error a caller sees, the length of a body. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace korvel {

/// `server` without its trailing slashes, followed by `path` (which begins with a slash).
std::string serverUrl(std::string_view server, std::string_view path);

/// Each byte becomes the UTF-16 unit of the same value: addresses are plain ASCII, and UTF-8 is not decoded.
std::wstring widenBytes(std::string_view url);

/// True when `url` begins with a scheme that is neither http nor https (in any case). A scheme is a letter,
/// then letters, digits, "+", "-" and "." up to a colon. A host with a port is none: there one or more digits
/// and nothing else stand between the colon and the end, a slash, a "?" or a "#".
bool hasForeignScheme(std::string_view url);

/// The value of a Content-Length header; absent when it is not a decimal number of 64 bits.
std::optional<uint64_t> parseContentLength(std::wstring_view value);

}  // namespace korvel

// Conversion between UTF-8, used in files, messages and the pipe, and UTF-16, used in Windows paths.
//
// A wide string holds one UTF-16 code unit per element on every platform, also in native builds, where
// wchar_t is wider. Malformed input is never rejected: sequences that cannot be converted become U+FFFD, as
// Windows does for code page 65001 without flags. Empty converts to empty. Both functions are pure and
// thread-safe. They throw std::bad_alloc and, on Windows, std::length_error beyond 2^31 - 1 units of input.
#pragma once

#include <string>
#include <string_view>

namespace korvel {

std::string toUtf8(std::wstring_view text);
std::wstring toWide(std::string_view text);

}  // namespace korvel

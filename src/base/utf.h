// Conversion between the UTF-8 of files, messages and the pipe and the UTF-16 of Windows paths.
//
// A wide string holds one UTF-16 code unit per element on every platform (wchar_t is wider than that
// natively; the element still holds a unit). Malformed input is never rejected: what cannot be converted
// becomes U+FFFD, as Windows does for code page 65001 without flags. Empty converts to empty. Both
// functions are pure and thread-safe; they throw std::bad_alloc, and std::length_error beyond 2^31 - 1
// units of input.
#pragma once

#include <string>
#include <string_view>

namespace korvel {

std::string toUtf8(std::wstring_view text);
std::wstring toWide(std::string_view text);

}  // namespace korvel

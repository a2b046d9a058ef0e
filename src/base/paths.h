// Windows path texts, taken apart and joined without asking the file system. Both '\' and '/' separate.
// Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace korvel {

constexpr bool isPathSeparator(wchar_t unit) { return unit == L'\\' || unit == L'/'; }

/// The last component: everything after the last separator (the whole text when there is none).
std::wstring fileName(std::wstring_view path);
/// The same as part of `path`.
std::wstring_view fileNameView(std::wstring_view path);

/// The length of the part that is never stripped or created: "C:", "C:\", "\" or "\\server\share\".
size_t rootLength(std::wstring_view path);

/// The directory that holds `path`: trailing separators go, then the last component and the separators
/// before it; a root stays.
std::wstring parentDirectory(std::wstring_view path);

/// `directory` and `name` with exactly one separator added where `directory` ends in none.
std::wstring joinPath(std::wstring_view directory, std::wstring_view name);

}  // namespace korvel

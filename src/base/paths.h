// Splits and joins Windows paths as text, without accessing the file system. Both '\' and '/' are
// separators. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

namespace korvel {

constexpr bool isPathSeparator(wchar_t unit) { return unit == L'\\' || unit == L'/'; }

/// The last component: everything after the last separator (the whole text when there is none).
std::wstring fileName(std::wstring_view path);
/// The same as a view into `path`.
std::wstring_view fileNameView(std::wstring_view path);

/// The length of the part that is never stripped or created: "C:", "C:\", "\" or "\\server\share\".
size_t rootLength(std::wstring_view path);

/// The directory that contains `path`: without trailing separators, the last component and the separators
/// before it. A root is returned unchanged.
std::wstring parentDirectory(std::wstring_view path);

/// `directory` and `name`, with '\' between them unless `directory` is empty or ends in a separator.
std::wstring joinPath(std::wstring_view directory, std::wstring_view name);

}  // namespace korvel

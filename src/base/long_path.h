// Paths beyond the classic limit of 260 units, made acceptable to the file API. Pure and thread-safe.
#pragma once

#include <string>

namespace korvel {

/// `path` itself while it is short or already in the \\?\ form; a long absolute path gets that form, with '/'
/// turned into '\', since the prefix switches the system's own normalisation off.
std::wstring forFileApi(const std::wstring& path);

}  // namespace korvel

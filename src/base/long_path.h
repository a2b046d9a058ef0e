// Makes paths longer than the classic limit of 260 units acceptable to the file API. Pure and thread-safe.
#pragma once

#include <string>

namespace korvel {

/// Converts a long absolute path to the \\?\ form, with '/' replaced by '\' because the prefix disables the
/// system's own normalisation. Every other path is returned unchanged.
std::wstring forFileApi(const std::wstring& path);

}  // namespace korvel

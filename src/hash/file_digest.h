// Digests of whole files, one pass per call. Each function opens the file for reading (shared for reading
// only) and reads it in pieces of `chunkSize` bytes (above 0). Lower-case hexadecimal; empty when the file
// cannot be opened. A failed read counts as the end of the file. Thread-safe.
#pragma once

#include <cstddef>
#include <string>

namespace korvel::hash {

std::string md5File(const std::wstring& path, size_t chunkSize);
std::string sha1File(const std::wstring& path, size_t chunkSize);
std::string sha256File(const std::wstring& path, size_t chunkSize);

}  // namespace korvel::hash

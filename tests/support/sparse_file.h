// Files that are large without taking room. Windows only.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"

namespace korvel::test {

/// Makes a file of `bytes` zeros that takes no room on the disk, and returns its path.
inline std::wstring sparseFile(const std::wstring& path, int64_t bytes) {
  const UniqueHandle file(
      ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size{};
  size.QuadPart = bytes;
  DWORD used = 0;
  constexpr DWORD kSetSparse = 0x900C4;  // FSCTL_SET_SPARSE; the test platform needs and knows none
  if (file) (void)::DeviceIoControl(file.get(), kSetSparse, nullptr, 0, nullptr, 0, &used, nullptr);
  if (!file || !::SetFilePointerEx(file.get(), size, nullptr, FILE_BEGIN) || !::SetEndOfFile(file.get())) {
    throw std::runtime_error("cannot make the large file " + toUtf8(path));
  }
  return path;
}

}  // namespace korvel::test

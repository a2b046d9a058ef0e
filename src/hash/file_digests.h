// The three digests that identify a file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace korvel::hash {

inline constexpr size_t kMd5Bytes = 16;
inline constexpr size_t kSha1Bytes = 20;
inline constexpr size_t kSha256Bytes = 32;

/// Digests of the same bytes, each in the byte order of its hexadecimal text. A plain value.
struct FileDigests {
  std::array<uint8_t, kMd5Bytes> md5;
  std::array<uint8_t, kSha1Bytes> sha1;
  std::array<uint8_t, kSha256Bytes> sha256;

  bool operator==(const FileDigests&) const = default;
};

}  // namespace korvel::hash

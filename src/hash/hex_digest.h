// Converts digests between hexadecimal text, used in files and messages, and bytes, used in signature tables.
// Pure and thread-safe.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "hash/file_digests.h"

namespace korvel::hash {

/// Decodes exactly `bytes` bytes from the 2 x `bytes` characters at `text` (0-9, a-f, A-F). False when
/// another character is among them; the content of `out` is then unspecified.
bool decodeHex(const char* text, size_t bytes, uint8_t* out);

/// Lower-case hexadecimal. The second overload writes 2 x bytes.size() characters, without a NUL.
std::string encodeHex(std::span<const uint8_t> bytes);
void encodeHex(std::span<const uint8_t> bytes, char* out);

/// An MD5, SHA-1 or SHA-256 digest, distinguished by its size. Empty until parsed.
class Digest {
 public:
  /// Parses 32, 40 or 64 hexadecimal characters of any case. For every other text returns false and leaves
  /// the digest empty.
  bool parse(std::string_view text);

  std::span<const uint8_t> bytes() const { return {bytes_.data(), size_}; }
  size_t size() const { return size_; }

 private:
  std::array<uint8_t, kSha256Bytes> bytes_{};
  size_t size_ = 0;
};

}  // namespace korvel::hash

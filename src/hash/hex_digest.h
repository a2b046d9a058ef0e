// Digests between their two forms: hexadecimal text, as files and messages carry them, and the bytes that
// the signature tables hold. Pure and thread-safe.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "hash/file_digests.h"

namespace korvel::hash {

/// Decodes exactly `bytes` bytes from the 2 x `bytes` characters at `text` (0-9, a-f, A-F). False when one of
/// them is something else; what `out` then holds is unspecified.
bool decodeHex(const char* text, size_t bytes, uint8_t* out);

/// Lower-case hexadecimal; the second form writes twice as many characters as there are bytes.
std::string encodeHex(std::span<const uint8_t> bytes);
void encodeHex(std::span<const uint8_t> bytes, char* out);

/// An MD5, SHA-1 or SHA-256 digest; its size tells which. Empty until parsed.
class Digest {
 public:
  /// Takes the digest that `text` spells in 32, 40 or 64 hexadecimal characters of any case. False, and the
  /// digest empty, for every other text.
  bool parse(std::string_view text);

  std::span<const uint8_t> bytes() const { return {bytes_.data(), size_}; }
  size_t size() const { return size_; }

 private:
  std::array<uint8_t, kSha256Bytes> bytes_{};
  size_t size_ = 0;
};

}  // namespace korvel::hash

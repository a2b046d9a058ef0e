// MD5 as published in RFC 1321. Used to find files in hash lists, not for security.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "hash/block_hasher.h"

namespace korvel::hash {

struct Md5Algorithm {
  static constexpr std::endian kByteOrder = std::endian::little;
  static constexpr std::array<uint32_t, 4> kInitialState = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  /// Runs `count` blocks of 64 bytes through the four words of `state`.
  static void compress(uint32_t* state, const uint8_t* blocks, size_t count);
};

class Md5 final : public BlockHasher<Md5Algorithm> {};

}  // namespace korvel::hash

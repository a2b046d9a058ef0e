// SHA-1 as published in FIPS 180-4.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "hash/block_hasher.h"

namespace korvel::hash {

struct Sha1Algorithm {
  static constexpr std::endian kByteOrder = std::endian::big;
  static constexpr std::array<uint32_t, 5> kInitialState = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476,
                                                            0xc3d2e1f0};
  /// Runs `count` blocks of 64 bytes through the five words of `state`, with the fastest kernel.
  static void compress(uint32_t* state, const uint8_t* blocks, size_t count);
};

class Sha1 final : public BlockHasher<Sha1Algorithm> {};

}  // namespace korvel::hash

// SHA-256 as published in FIPS 180-4.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "hash/block_hasher.h"

namespace korvel::hash {

struct Sha256Algorithm {
  static constexpr std::endian kByteOrder = std::endian::big;
  static constexpr std::array<uint32_t, 8> kInitialState = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                                            0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  /// Runs `count` blocks of 64 bytes through the eight words of `state`, with the fastest kernel.
  static void compress(uint32_t* state, const uint8_t* blocks, size_t count);
};

class Sha256 final : public BlockHasher<Sha256Algorithm> {};

}  // namespace korvel::hash

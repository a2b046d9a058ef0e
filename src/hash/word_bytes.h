// Converts words to bytes and back, in the byte order of a digest. Pure.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "base/byte_view.h"

namespace korvel::hash {

inline uint32_t loadLe32(const uint8_t* from) {
  return uint32_t{from[0]} | uint32_t{from[1]} << 8 | uint32_t{from[2]} << 16 | uint32_t{from[3]} << 24;
}
inline uint32_t loadBe32(const uint8_t* from) {
  return uint32_t{from[0]} << 24 | uint32_t{from[1]} << 16 | uint32_t{from[2]} << 8 | uint32_t{from[3]};
}
inline void storeBe32(uint8_t* to, uint32_t value) {
  for (int i = 0; i < 4; ++i) to[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

/// A finished chaining state as the bytes of the digest.
template <size_t kWords>
std::array<uint8_t, 4 * kWords> digestBytes(const std::array<uint32_t, kWords>& state, std::endian order) {
  std::array<uint8_t, 4 * kWords> bytes;
  for (size_t i = 0; i < kWords; ++i) {
    if (order == std::endian::little) {
      storeLe32(&bytes[4 * i], state[i]);
    } else {
      storeBe32(&bytes[4 * i], state[i]);
    }
  }
  return bytes;
}

}  // namespace korvel::hash

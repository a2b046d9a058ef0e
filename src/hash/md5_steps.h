// The steps of MD5, shared by the kernel that runs MD5 alone and the one that interleaves it with the other
// digests. The steps are always inlined: the including files are compiled for different instruction sets, and
// the linker must not share one copy between them.
#pragma once

#include <bit>
#include <cstdint>

#include "hash/word_bytes.h"

namespace korvel::hash {

/// floor(2^32 * |sin(i + 1)|), RFC 1321 section 3.4.
inline constexpr uint32_t kMd5Sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

/// The four words of the state. Not an array, because the compiler would move it to a vector register and
/// back, which costs more than it gains.
struct Md5Words {
  uint32_t a, b, c, d;
};

/// One step. The caller rotates the arguments by one place per step; every four steps restore their order.
template <int kStep>
[[gnu::always_inline]] inline void md5Step(uint32_t& a, uint32_t b, uint32_t c, uint32_t d,
                                           const uint8_t* block) {
  constexpr int kRound = kStep / 16;
  constexpr int kWordOf[4] = {kStep, 5 * kStep + 1, 3 * kStep + 5, 7 * kStep};
  constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
  constexpr int kShift = kShifts[kRound][kStep % 4];

  uint32_t sum = a + loadLe32(block + size_t{4} * (kWordOf[kRound] % 16)) + kMd5Sines[kStep];
  // `b` is the result of the previous step and on the critical path, so each expression uses it last. In the
  // second round the two terms of the choice have no bit in common, so they may be added separately.
  if constexpr (kRound == 0) sum += d ^ (b & (c ^ d));
  if constexpr (kRound == 1) sum += (c & ~d) + (b & d);
  if constexpr (kRound == 2) sum += b ^ (c ^ d);
  if constexpr (kRound == 3) sum += c ^ (b | ~d);
  a = b + std::rotl(sum, kShift);
}

}  // namespace korvel::hash

// Sixteen messages at once. Compiled with its own flags, so nothing here may be called unless
// avx512::supported() returns true.
#include <immintrin.h>

#include "hash/lane_block.h"

namespace korvel::hash {
namespace {

// Truth tables of three-way operations, as _mm512_ternarylogic_epi32 takes them.
constexpr int kChoose = 0xca;
constexpr int kMajority = 0xe8;
constexpr int kParity = 0x96;
constexpr int kOrNot = 0x39;

struct Vector {
  static constexpr size_t kLanes = 16;
  __m512i value;

  [[gnu::always_inline]] static Vector load(const uint32_t* from) { return {_mm512_loadu_si512(from)}; }
  [[gnu::always_inline]] void store(uint32_t* to) const { _mm512_storeu_si512(to, value); }
  [[gnu::always_inline]] static Vector broadcast(const uint32_t* from) {
    return {_mm512_set1_epi32(static_cast<int>(*from))};
  }
  [[gnu::always_inline]] friend Vector operator+(Vector a, Vector b) {
    return {_mm512_add_epi32(a.value, b.value)};
  }
  [[gnu::always_inline]] friend Vector operator^(Vector a, Vector b) {
    return {_mm512_xor_si512(a.value, b.value)};
  }
  template <int kBits>
  [[gnu::always_inline]] Vector rotl() const {
    return {_mm512_rol_epi32(value, kBits)};
  }
  template <int kBits>
  [[gnu::always_inline]] Vector shiftRight() const {
    return {_mm512_srli_epi32(value, kBits)};
  }
  [[gnu::always_inline]] Vector byteSwapped() const {
    const __m128i reversed = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    return {_mm512_shuffle_epi8(value, _mm512_broadcast_i32x4(reversed))};
  }
  template <int kTable>
  [[gnu::always_inline]] static Vector ternary(Vector b, Vector c, Vector d) {
    return {_mm512_ternarylogic_epi32(b.value, c.value, d.value, kTable)};
  }
  [[gnu::always_inline]] friend Vector choose(Vector b, Vector c, Vector d) {
    return ternary<kChoose>(b, c, d);
  }
  [[gnu::always_inline]] friend Vector majority(Vector b, Vector c, Vector d) {
    return ternary<kMajority>(b, c, d);
  }
  [[gnu::always_inline]] friend Vector parity(Vector b, Vector c, Vector d) {
    return ternary<kParity>(b, c, d);
  }
  [[gnu::always_inline]] friend Vector orNot(Vector b, Vector c, Vector d) {
    return ternary<kOrNot>(b, c, d);
  }
  [[gnu::always_inline]] Vector withLanes(uint32_t mask, Vector other) const {
    return {_mm512_mask_mov_epi32(value, static_cast<__mmask16>(mask), other.value)};
  }

  /// Transposes sixteen rows of sixteen words: words first, then pairs, then quarters of a vector.
  [[gnu::always_inline]] static void loadWords(const uint8_t* const* blocks, Vector* words) {
    __m512i a[16], b[16];
#pragma GCC unroll 16
    for (int i = 0; i < 16; i += 2) {
      const __m512i even = _mm512_loadu_si512(blocks[i]);
      const __m512i odd = _mm512_loadu_si512(blocks[i + 1]);
      a[i] = _mm512_unpacklo_epi32(even, odd);
      a[i + 1] = _mm512_unpackhi_epi32(even, odd);
    }
#pragma GCC unroll 16
    for (int i = 0; i < 16; i += 4) {
      b[i] = _mm512_unpacklo_epi64(a[i], a[i + 2]);
      b[i + 1] = _mm512_unpackhi_epi64(a[i], a[i + 2]);
      b[i + 2] = _mm512_unpacklo_epi64(a[i + 1], a[i + 3]);
      b[i + 3] = _mm512_unpackhi_epi64(a[i + 1], a[i + 3]);
    }
#pragma GCC unroll 16
    for (int i = 0; i < 4; ++i) {
      const __m512i low01 = _mm512_shuffle_i32x4(b[i], b[i + 4], 0x44);
      const __m512i low23 = _mm512_shuffle_i32x4(b[i + 8], b[i + 12], 0x44);
      const __m512i high01 = _mm512_shuffle_i32x4(b[i], b[i + 4], 0xee);
      const __m512i high23 = _mm512_shuffle_i32x4(b[i + 8], b[i + 12], 0xee);
      words[i].value = _mm512_shuffle_i32x4(low01, low23, 0x88);
      words[i + 4].value = _mm512_shuffle_i32x4(low01, low23, 0xdd);
      words[i + 8].value = _mm512_shuffle_i32x4(high01, high23, 0x88);
      words[i + 12].value = _mm512_shuffle_i32x4(high01, high23, 0xdd);
    }
  }
};

}  // namespace

void avx512::compress(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes) {
  compressLanes<Vector>(states, blocks, count, lastLanes);
}

}  // namespace korvel::hash

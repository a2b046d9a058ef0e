// Eight messages at once. Compiled with its own flags, so nothing here may be called unless avx2::supported()
// returns true.
#include <immintrin.h>

#include "hash/lane_block.h"

namespace korvel::hash {
namespace {

struct Vector {
  static constexpr size_t kLanes = 8;
  __m256i value;

  [[gnu::always_inline]] static __m256i loadRow(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
  }
  [[gnu::always_inline]] static Vector load(const uint32_t* from) { return {loadRow(from)}; }
  [[gnu::always_inline]] void store(uint32_t* to) const {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
  }
  [[gnu::always_inline]] static Vector broadcast(const uint32_t* from) {
    return {_mm256_set1_epi32(static_cast<int>(*from))};
  }
  [[gnu::always_inline]] friend Vector operator+(Vector a, Vector b) {
    return {_mm256_add_epi32(a.value, b.value)};
  }
  [[gnu::always_inline]] friend Vector operator^(Vector a, Vector b) {
    return {_mm256_xor_si256(a.value, b.value)};
  }
  [[gnu::always_inline]] friend Vector operator&(Vector a, Vector b) {
    return {_mm256_and_si256(a.value, b.value)};
  }
  [[gnu::always_inline]] friend Vector operator|(Vector a, Vector b) {
    return {_mm256_or_si256(a.value, b.value)};
  }
  template <int kBits>
  [[gnu::always_inline]] Vector rotl() const {
    return {_mm256_or_si256(_mm256_slli_epi32(value, kBits), _mm256_srli_epi32(value, 32 - kBits))};
  }
  template <int kBits>
  [[gnu::always_inline]] Vector shiftRight() const {
    return {_mm256_srli_epi32(value, kBits)};
  }
  [[gnu::always_inline]] Vector byteSwapped() const {
    const __m128i reversed = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    return {_mm256_shuffle_epi8(value, _mm256_broadcastsi128_si256(reversed))};
  }
  [[gnu::always_inline]] friend Vector choose(Vector b, Vector c, Vector d) { return d ^ (b & (c ^ d)); }
  [[gnu::always_inline]] friend Vector majority(Vector b, Vector c, Vector d) {
    return (b & c) ^ (d & (b ^ c));
  }
  [[gnu::always_inline]] friend Vector parity(Vector b, Vector c, Vector d) { return b ^ c ^ d; }
  [[gnu::always_inline]] friend Vector orNot(Vector b, Vector c, Vector d) {
    return c ^ (b | (d ^ Vector{_mm256_set1_epi32(-1)}));
  }
  [[gnu::always_inline]] Vector withLanes(uint32_t mask, Vector other) const {
    const __m256i bits = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
    const __m256i chosen = _mm256_and_si256(_mm256_set1_epi32(static_cast<int>(mask)), bits);
    return {_mm256_blendv_epi8(value, other.value, _mm256_cmpeq_epi32(chosen, bits))};
  }

  /// Transposes eight rows of sixteen words, half a row at a time: words first, then pairs, then halves.
  [[gnu::always_inline]] static void loadWords(const uint8_t* const* blocks, Vector* words) {
#pragma GCC unroll 2
    for (size_t half = 0; half < 2; ++half, words += 8) {
      __m256i a[8], b[8];
#pragma GCC unroll 8
      for (int i = 0; i < 8; i += 2) {
        const __m256i even = loadRow(blocks[i] + 32 * half);
        const __m256i odd = loadRow(blocks[i + 1] + 32 * half);
        a[i] = _mm256_unpacklo_epi32(even, odd);
        a[i + 1] = _mm256_unpackhi_epi32(even, odd);
      }
#pragma GCC unroll 8
      for (int i = 0; i < 8; i += 4) {
        b[i] = _mm256_unpacklo_epi64(a[i], a[i + 2]);
        b[i + 1] = _mm256_unpackhi_epi64(a[i], a[i + 2]);
        b[i + 2] = _mm256_unpacklo_epi64(a[i + 1], a[i + 3]);
        b[i + 3] = _mm256_unpackhi_epi64(a[i + 1], a[i + 3]);
      }
#pragma GCC unroll 8
      for (int i = 0; i < 4; ++i) {
        words[i].value = _mm256_permute2x128_si256(b[i], b[i + 4], 0x20);
        words[i + 4].value = _mm256_permute2x128_si256(b[i], b[i + 4], 0x31);
      }
    }
  }
};

}  // namespace

void avx2::compress(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes) {
  compressLanes<Vector>(states, blocks, count, lastLanes);
}

}  // namespace korvel::hash

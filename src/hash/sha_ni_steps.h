// Four rounds of SHA-1 and of SHA-256 in the processor's SHA instructions, shared by the kernels that run one
// digest and the one that runs all. Always inlined, and included only by files compiled for SHA, SSSE3 and
// SSE4.1.
//
// Each group of four rounds needs four message words. The last sixteen words are kept in a ring of four
// registers, in which those of group n replace those of group n - 4.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "hash/sha256_constants.h"

namespace korvel::hash {

[[gnu::always_inline]] inline __m128i loadVector(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
[[gnu::always_inline]] inline void storeVector(void* to, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

// Reverses the order of 32-bit words, as _mm_shuffle_epi32 takes it.
inline constexpr int kReverseWords = 0x1b;

/// SHA-1. The instructions expect the first word in the highest position.
struct Sha1Vectors {
  __m128i abcd;
  __m128i e;  ///< before the first group E itself, later the ABCD from which the next E is derived
  __m128i words[4];

  [[gnu::always_inline]] void load(const uint32_t* state) {
    abcd = _mm_shuffle_epi32(loadVector(state), kReverseWords);
    e = _mm_set_epi32(static_cast<int>(state[4]), 0, 0, 0);
  }
  [[gnu::always_inline]] void store(uint32_t* state) const {
    storeVector(state, _mm_shuffle_epi32(abcd, kReverseWords));
    state[4] = static_cast<uint32_t>(_mm_extract_epi32(e, 3));
  }
  /// Ends a block: adds the state that it began with.
  [[gnu::always_inline]] void add(__m128i abcdBefore, __m128i eBefore) {
    e = _mm_sha1nexte_epu32(e, eBefore);
    abcd = _mm_add_epi32(abcd, abcdBefore);
  }
};

/// Rounds 4 * kGroup to 4 * kGroup + 3 of 80.
template <int kGroup>
[[gnu::always_inline]] inline void sha1FourRounds(Sha1Vectors& sha1, const uint8_t* block) {
  auto& words = sha1.words[kGroup % 4];
  if constexpr (kGroup < 4) {
    const __m128i allBytesReversed = _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
    words = _mm_shuffle_epi8(loadVector(block + size_t{16} * kGroup), allBytesReversed);
  } else {
    words = _mm_sha1msg1_epu32(words, sha1.words[(kGroup + 1) % 4]);
    words = _mm_xor_si128(words, sha1.words[(kGroup + 2) % 4]);
    words = _mm_sha1msg2_epu32(words, sha1.words[(kGroup + 3) % 4]);
  }
  const __m128i ePlusWords = kGroup == 0 ? _mm_add_epi32(sha1.e, words) : _mm_sha1nexte_epu32(sha1.e, words);
  sha1.e = sha1.abcd;
  sha1.abcd = _mm_sha1rnds4_epu32(sha1.abcd, ePlusWords, kGroup / 5);
}

/// SHA-256. The instructions expect the state as two vectors, F E B A and H G D C from the lowest word up.
struct Sha256Vectors {
  __m128i abef;
  __m128i cdgh;
  __m128i words[4];

  [[gnu::always_inline]] void load(const uint32_t* state) {
    const __m128i badc = _mm_shuffle_epi32(loadVector(state), 0xb1);
    const __m128i hgfe = _mm_shuffle_epi32(loadVector(state + 4), kReverseWords);
    abef = _mm_alignr_epi8(badc, hgfe, 8);
    cdgh = _mm_blend_epi16(hgfe, badc, 0xf0);
  }
  [[gnu::always_inline]] void store(uint32_t* state) const {
    const __m128i abef0 = _mm_shuffle_epi32(abef, kReverseWords);
    const __m128i cdgh0 = _mm_shuffle_epi32(cdgh, 0xb1);
    storeVector(state, _mm_blend_epi16(abef0, cdgh0, 0xf0));
    storeVector(state + 4, _mm_alignr_epi8(cdgh0, abef0, 8));
  }
  /// Ends a block: adds the state that it began with.
  [[gnu::always_inline]] void add(__m128i abefBefore, __m128i cdghBefore) {
    abef = _mm_add_epi32(abef, abefBefore);
    cdgh = _mm_add_epi32(cdgh, cdghBefore);
  }
};

/// Rounds 4 * kGroup to 4 * kGroup + 3 of 64.
template <int kGroup>
[[gnu::always_inline]] inline void sha256FourRounds(Sha256Vectors& sha256, const uint8_t* block) {
  auto& words = sha256.words[kGroup % 4];
  if constexpr (kGroup < 4) {
    const __m128i bytesOfWordsReversed = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    words = _mm_shuffle_epi8(loadVector(block + size_t{16} * kGroup), bytesOfWordsReversed);
  } else {
    const __m128i last = sha256.words[(kGroup + 3) % 4];
    const __m128i sevenBack = _mm_alignr_epi8(last, sha256.words[(kGroup + 2) % 4], 4);
    words = _mm_sha256msg1_epu32(words, sha256.words[(kGroup + 1) % 4]);
    words = _mm_sha256msg2_epu32(_mm_add_epi32(words, sevenBack), last);
  }
  // Each instruction does two rounds with the two lowest words of `sums`; the state vectors swap roles.
  const __m128i sums = _mm_add_epi32(words, loadVector(kSha256Constants + size_t{4} * kGroup));
  sha256.cdgh = _mm_sha256rnds2_epu32(sha256.cdgh, sha256.abef, sums);
  sha256.abef = _mm_sha256rnds2_epu32(sha256.abef, sha256.cdgh, _mm_shuffle_epi32(sums, 0x0e));
}

}  // namespace korvel::hash

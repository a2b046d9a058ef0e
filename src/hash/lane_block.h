// One block of each of several messages at once: lane n of every vector belongs to message n. Written once
// for all vector widths; always inlined, because the including files are compiled for different instruction
// sets.
//
// The steps of the three digests alternate one by one, as none of them alone fills the processor: MD5 and
// SHA-1 are chains of dependent steps, SHA-256 is the longest.
//
// `Vector` is a type with
//
//   static constexpr size_t kLanes;                    // 32-bit lanes
//   static Vector load(const uint32_t*), store(uint32_t*), broadcast(const uint32_t*)
//   operator+, operator^, rotl<n>(), shiftRight<n>(), byteSwapped()
//   choose(b, c, d): c where b is set, else d      majority(b, c, d)      parity(b, c, d): b ^ c ^ d
//   orNot(b, c, d): c ^ (b | ~d)                   loadWords(blocks, words): word n of each lane's block into
//   words[n] withLanes(mask, other): the lanes of `mask` from `other`
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "hash/block_stream.h"
#include "hash/lane_kernels.h"
#include "hash/md5_steps.h"
#include "hash/sha256_constants.h"

namespace korvel::hash {

/// Behind pointers that the compiler cannot see through, constants become operands in memory; as literals
/// each would take instructions of its own.
struct LaneConstants {
  const uint32_t* md5 = kMd5Sines;
  const uint32_t* sha1;
  const uint32_t* sha256 = kSha256Constants;
};
inline constexpr uint32_t kSha1RoundConstants[4] = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};

template <typename Vector>
struct LaneBlock {
  static constexpr int kWords = 16;

  Vector md5[4];
  Vector sha1[5];
  Vector sha256[8];
  Vector little[kWords];  ///< the message, as MD5 reads it
  Vector big[kWords];     ///< the message, as the others read it
  Vector sha1Ring[kWords];
  Vector sha256Ring[kWords];

  template <int kStep>
  [[gnu::always_inline]] void md5Step(const LaneConstants& constants) {
    constexpr int kRound = kStep / 16;
    constexpr int kWordOf[4] = {kStep, 5 * kStep + 1, 3 * kStep + 5, 7 * kStep};
    constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    constexpr int kFirst = (64 - kStep) % 4;  // the roles of the words rotate by one place per step
    Vector& a = md5[kFirst];
    const Vector b = md5[(kFirst + 1) % 4], c = md5[(kFirst + 2) % 4], d = md5[(kFirst + 3) % 4];
    Vector sum = a + Vector::broadcast(constants.md5 + kStep) + little[kWordOf[kRound] % 16];
    if constexpr (kRound == 0) sum = sum + choose(b, c, d);
    if constexpr (kRound == 1) sum = sum + choose(d, b, c);
    if constexpr (kRound == 2) sum = sum + parity(b, c, d);
    if constexpr (kRound == 3) sum = sum + orNot(b, c, d);
    a = b + sum.template rotl<kShifts[kRound][kStep % 4]>();
  }

  /// Word `kIndex` of a message schedule: the message itself, then the last sixteen words in a ring.
  template <int kIndex>
  [[gnu::always_inline]] const Vector& word(const Vector (&ring)[kWords]) const {
    return kIndex < kWords ? big[kIndex % kWords] : ring[kIndex % kWords];
  }
  template <int kRound>
  [[gnu::always_inline]] void sha1Round(const LaneConstants& constants) {
    if constexpr (kRound >= kWords) {
      const Vector three =
          parity(word<kRound - 3>(sha1Ring), word<kRound - 8>(sha1Ring), word<kRound - 14>(sha1Ring));
      sha1Ring[kRound % kWords] = (three ^ word<kRound - 16>(sha1Ring)).template rotl<1>();
    }
    constexpr int kFirst = (80 - kRound) % 5;
    const Vector a = sha1[kFirst], c = sha1[(kFirst + 2) % 5], d = sha1[(kFirst + 3) % 5];
    Vector& b = sha1[(kFirst + 1) % 5];
    Vector& e = sha1[(kFirst + 4) % 5];
    Vector sum = e + Vector::broadcast(constants.sha1 + kRound / 20) + word<kRound>(sha1Ring);
    if constexpr (kRound / 20 == 0) sum = sum + choose(b, c, d);
    if constexpr (kRound / 20 == 1 || kRound / 20 == 3) sum = sum + parity(b, c, d);
    if constexpr (kRound / 20 == 2) sum = sum + majority(b, c, d);
    e = sum + a.template rotl<5>();
    b = b.template rotl<30>();
  }

  template <int kRound>
  [[gnu::always_inline]] void sha256Round(const LaneConstants& constants) {
    if constexpr (kRound >= kWords) {
      const Vector w15 = word<kRound - 15>(sha256Ring), w2 = word<kRound - 2>(sha256Ring);
      const Vector small0 =
          parity(w15.template rotl<25>(), w15.template rotl<14>(), w15.template shiftRight<3>());
      const Vector small1 =
          parity(w2.template rotl<15>(), w2.template rotl<13>(), w2.template shiftRight<10>());
      sha256Ring[kRound % kWords] =
          word<kRound - 16>(sha256Ring) + small0 + word<kRound - 7>(sha256Ring) + small1;
    }
    constexpr int kFirst = (64 - kRound) % 8;
    const Vector a = sha256[kFirst], b = sha256[(kFirst + 1) % 8], c = sha256[(kFirst + 2) % 8];
    const Vector e = sha256[(kFirst + 4) % 8], f = sha256[(kFirst + 5) % 8], g = sha256[(kFirst + 6) % 8];
    Vector& d = sha256[(kFirst + 3) % 8];
    Vector& h = sha256[(kFirst + 7) % 8];
    const Vector big1 = parity(e.template rotl<26>(), e.template rotl<21>(), e.template rotl<7>());
    const Vector big0 = parity(a.template rotl<30>(), a.template rotl<19>(), a.template rotl<10>());
    const Vector sum =
        h + Vector::broadcast(constants.sha256 + kRound) + word<kRound>(sha256Ring) + big1 + choose(e, f, g);
    d = d + sum;
    h = sum + big0 + majority(a, b, c);
  }

  /// One step of MD5, one round of SHA-256, and 80 rounds of SHA-1 spread over the 64 steps.
  template <int kStep>
  [[gnu::always_inline]] void step(const LaneConstants& constants) {
    constexpr int kSha1Begin = 80 * kStep / 64;
    md5Step<kStep>(constants);
    sha256Round<kStep>(constants);
    sha1Round<kSha1Begin>(constants);
    if constexpr (80 * (kStep + 1) / 64 - kSha1Begin == 2) sha1Round<kSha1Begin + 1>(constants);
  }
  template <int... kSteps>
  [[gnu::always_inline]] void allSteps(const LaneConstants& constants,
                                       std::integer_sequence<int, kSteps...>) {
    (step<kSteps>(constants), ...);
  }

  /// The last block of a message holds its bit count in the byte order of SHA. For MD5 the two halves change
  /// places and their order.
  [[gnu::always_inline]] void swapBitCount(uint32_t lastLanes) {
    little[14] = little[14].withLanes(lastLanes, big[15]);
    little[15] = little[15].withLanes(lastLanes, big[14]);
  }
};

template <typename Vector, size_t kCount>
[[gnu::always_inline]] inline void loadState(Vector (&to)[kCount],
                                             const uint32_t (&from)[kCount][kMaxLanes]) {
  for (size_t i = 0; i < kCount; ++i) to[i] = Vector::load(from[i]);
}
/// Adds the state that a block began with, and stores the sum.
template <typename Vector, size_t kCount>
[[gnu::always_inline]] inline void addState(Vector (&from)[kCount], uint32_t (&to)[kCount][kMaxLanes]) {
  for (size_t i = 0; i < kCount; ++i) (from[i] + Vector::load(to[i])).store(to[i]);
}

template <typename Vector>
[[gnu::always_inline]] inline void compressLanes(LaneStates& states, const uint8_t* const* blocks,
                                                 size_t count, uint32_t lastLanes) {
  LaneConstants constants{.sha1 = kSha1RoundConstants};
  asm("" : "+r"(constants.md5), "+r"(constants.sha1), "+r"(constants.sha256));
  LaneBlock<Vector> block;
  const uint8_t* from[Vector::kLanes];
  for (size_t lane = 0; lane < Vector::kLanes; ++lane) from[lane] = blocks[lane];
  for (; count != 0; --count) {
    Vector::loadWords(from, block.little);
    for (int i = 0; i < LaneBlock<Vector>::kWords; ++i) block.big[i] = block.little[i].byteSwapped();
    if (count == 1) block.swapBitCount(lastLanes);
    loadState(block.md5, states.md5);
    loadState(block.sha1, states.sha1);
    loadState(block.sha256, states.sha256);
    block.allSteps(constants, std::make_integer_sequence<int, 64>{});
    addState(block.md5, states.md5);
    addState(block.sha1, states.sha1);
    addState(block.sha256, states.sha256);
    for (size_t lane = 0; lane < Vector::kLanes; ++lane) from[lane] += kBlockBytes;
  }
}

}  // namespace korvel::hash

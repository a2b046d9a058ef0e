// SHA-1 or SHA-256 alone with the processor's SHA instructions. Compiled with its own flags, so nothing here
// may be called unless sha_ni::supported() returns true.
#include <utility>

#include "hash/block_stream.h"
#include "hash/kernels.h"
#include "hash/sha_ni_steps.h"

namespace korvel::hash::sha_ni {
namespace {

template <int... kGroups>
[[gnu::always_inline]] inline void sha1Rounds(Sha1Vectors& vectors, const uint8_t* block,
                                              std::integer_sequence<int, kGroups...>) {
  (sha1FourRounds<kGroups>(vectors, block), ...);
}

template <int... kGroups>
[[gnu::always_inline]] inline void sha256Rounds(Sha256Vectors& vectors, const uint8_t* block,
                                                std::integer_sequence<int, kGroups...>) {
  (sha256FourRounds<kGroups>(vectors, block), ...);
}

}  // namespace

void sha1(uint32_t* state, const uint8_t* blocks, size_t count) {
  Sha1Vectors vectors;
  vectors.load(state);
  for (; count != 0; --count, blocks += kBlockBytes) {
    const __m128i abcd = vectors.abcd;
    const __m128i e = vectors.e;
    sha1Rounds(vectors, blocks, std::make_integer_sequence<int, 20>{});
    vectors.add(abcd, e);
  }
  vectors.store(state);
}

void sha256(uint32_t* state, const uint8_t* blocks, size_t count) {
  Sha256Vectors vectors;
  vectors.load(state);
  for (; count != 0; --count, blocks += kBlockBytes) {
    const __m128i abef = vectors.abef;
    const __m128i cdgh = vectors.cdgh;
    sha256Rounds(vectors, blocks, std::make_integer_sequence<int, 16>{});
    vectors.add(abef, cdgh);
  }
  vectors.store(state);
}

}  // namespace korvel::hash::sha_ni

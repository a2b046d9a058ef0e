#include "hash/sha1.h"

#include <utility>

#include "hash/kernels.h"
#include "hash/word_bytes.h"

namespace korvel::hash {
namespace {

struct Sha1Words {
  uint32_t a, b, c, d, e;
};

// The message schedule keeps only the last 16 words: word t takes the place of word t - 16.
template <int kStep>
[[gnu::always_inline]] inline uint32_t scheduled(uint32_t (&w)[16], const uint8_t* block) {
  if constexpr (kStep < 16) {
    return w[kStep] = loadBe32(block + size_t{4} * kStep);
  } else {
    return w[kStep % 16] =
               std::rotl(w[(kStep - 3) % 16] ^ w[(kStep - 8) % 16] ^ w[(kStep - 14) % 16] ^ w[kStep % 16], 1);
  }
}

// One step. Instead of moving every word by one place, the caller rotates the arguments.
template <int kStep>
[[gnu::always_inline]] inline void step(uint32_t a, uint32_t& b, uint32_t c, uint32_t d, uint32_t& e,
                                        uint32_t (&w)[16], const uint8_t* block) {
  constexpr int kRound = kStep / 20;
  constexpr uint32_t kConstants[4] = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};
  e += scheduled<kStep>(w, block) + kConstants[kRound];
  if constexpr (kRound == 0) e += d ^ (b & (c ^ d));
  if constexpr (kRound == 1 || kRound == 3) e += b ^ c ^ d;
  if constexpr (kRound == 2) e += (b & c) + (d & (b ^ c));
  e += std::rotl(a, 5);
  b = std::rotl(b, 30);
}

template <int kGroup>
[[gnu::always_inline]] inline void fiveSteps(Sha1Words& words, uint32_t (&w)[16], const uint8_t* block) {
  auto& [a, b, c, d, e] = words;
  step<5 * kGroup>(a, b, c, d, e, w, block);
  step<5 * kGroup + 1>(e, a, b, c, d, w, block);
  step<5 * kGroup + 2>(d, e, a, b, c, w, block);
  step<5 * kGroup + 3>(c, d, e, a, b, w, block);
  step<5 * kGroup + 4>(b, c, d, e, a, w, block);
}

template <int... kGroups>
[[gnu::always_inline]] inline void allSteps(Sha1Words& words, const uint8_t* block,
                                            std::integer_sequence<int, kGroups...>) {
  uint32_t w[16];
  (fiveSteps<kGroups>(words, w, block), ...);
}

}  // namespace

void portable::sha1(uint32_t* state, const uint8_t* blocks, size_t count) {
  for (; count != 0; --count, blocks += kBlockBytes) {
    Sha1Words words{state[0], state[1], state[2], state[3], state[4]};
    allSteps(words, blocks, std::make_integer_sequence<int, 16>{});
    state[0] += words.a;
    state[1] += words.b;
    state[2] += words.c;
    state[3] += words.d;
    state[4] += words.e;
  }
}

void Sha1Algorithm::compress(uint32_t* state, const uint8_t* blocks, size_t count) {
  static const DigestKernel& kernel = fastestSupported(sha1Kernels());
  kernel.compress(state, blocks, count);
}

}  // namespace korvel::hash

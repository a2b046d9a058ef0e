#include "hash/sha256.h"

#include <utility>

#include "hash/kernels.h"
#include "hash/sha256_constants.h"
#include "hash/word_bytes.h"

namespace korvel::hash {
namespace {

struct Sha256Words {
  uint32_t a, b, c, d, e, f, g, h;
};

// The message schedule keeps only the last 16 words: word t takes the place of word t - 16.
template <int kStep>
[[gnu::always_inline]] inline uint32_t scheduled(uint32_t (&w)[16], const uint8_t* block) {
  if constexpr (kStep < 16) {
    return w[kStep] = loadBe32(block + size_t{4} * kStep);
  } else {
    const uint32_t older = w[(kStep - 15) % 16];
    const uint32_t newer = w[(kStep - 2) % 16];
    const uint32_t sigma0 = std::rotr(older, 7) ^ std::rotr(older, 18) ^ older >> 3;
    const uint32_t sigma1 = std::rotr(newer, 17) ^ std::rotr(newer, 19) ^ newer >> 10;
    return w[kStep % 16] += sigma0 + w[(kStep - 7) % 16] + sigma1;
  }
}

// One step. Instead of moving every word by one place, the caller rotates the arguments.
template <int kStep>
[[gnu::always_inline]] inline void step(uint32_t a, uint32_t b, uint32_t c, uint32_t& d, uint32_t e,
                                        uint32_t f, uint32_t g, uint32_t& h, uint32_t (&w)[16],
                                        const uint8_t* block) {
  const uint32_t sum1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
  const uint32_t choice = g ^ (e & (f ^ g));
  const uint32_t sum0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
  const uint32_t majority = (a & b) + (c & (a ^ b));
  h += sum1 + choice + kSha256Constants[kStep] + scheduled<kStep>(w, block);
  d += h;
  h += sum0 + majority;
}

template <int kGroup>
[[gnu::always_inline]] inline void eightSteps(Sha256Words& words, uint32_t (&w)[16], const uint8_t* block) {
  auto& [a, b, c, d, e, f, g, h] = words;
  step<8 * kGroup>(a, b, c, d, e, f, g, h, w, block);
  step<8 * kGroup + 1>(h, a, b, c, d, e, f, g, w, block);
  step<8 * kGroup + 2>(g, h, a, b, c, d, e, f, w, block);
  step<8 * kGroup + 3>(f, g, h, a, b, c, d, e, w, block);
  step<8 * kGroup + 4>(e, f, g, h, a, b, c, d, w, block);
  step<8 * kGroup + 5>(d, e, f, g, h, a, b, c, w, block);
  step<8 * kGroup + 6>(c, d, e, f, g, h, a, b, w, block);
  step<8 * kGroup + 7>(b, c, d, e, f, g, h, a, w, block);
}

template <int... kGroups>
[[gnu::always_inline]] inline void allSteps(Sha256Words& words, const uint8_t* block,
                                            std::integer_sequence<int, kGroups...>) {
  uint32_t w[16];
  (eightSteps<kGroups>(words, w, block), ...);
}

}  // namespace

void portable::sha256(uint32_t* state, const uint8_t* blocks, size_t count) {
  for (; count != 0; --count, blocks += kBlockBytes) {
    Sha256Words words{state[0], state[1], state[2], state[3], state[4], state[5], state[6], state[7]};
    allSteps(words, blocks, std::make_integer_sequence<int, 8>{});
    state[0] += words.a;
    state[1] += words.b;
    state[2] += words.c;
    state[3] += words.d;
    state[4] += words.e;
    state[5] += words.f;
    state[6] += words.g;
    state[7] += words.h;
  }
}

void Sha256Algorithm::compress(uint32_t* state, const uint8_t* blocks, size_t count) {
  static const DigestKernel& kernel = fastestSupported(sha256Kernels());
  kernel.compress(state, blocks, count);
}

}  // namespace korvel::hash

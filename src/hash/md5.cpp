#include "hash/md5.h"

#include <utility>

#include "hash/md5_steps.h"

namespace korvel::hash {
namespace {

template <int kGroup>
[[gnu::always_inline]] inline void md5FourSteps(Md5Words& words, const uint8_t* block) {
  auto& [a, b, c, d] = words;
  md5Step<4 * kGroup>(a, b, c, d, block);
  md5Step<4 * kGroup + 1>(d, a, b, c, block);
  md5Step<4 * kGroup + 2>(c, d, a, b, block);
  md5Step<4 * kGroup + 3>(b, c, d, a, block);
}

template <int... kGroups>
[[gnu::always_inline]] inline void allSteps(Md5Words& words, const uint8_t* block,
                                            std::integer_sequence<int, kGroups...>) {
  (md5FourSteps<kGroups>(words, block), ...);
}

}  // namespace

void Md5Algorithm::compress(uint32_t* state, const uint8_t* blocks, size_t count) {
  Md5Words words{state[0], state[1], state[2], state[3]};
  for (; count != 0; --count, blocks += kBlockBytes) {
    const Md5Words before = words;
    allSteps(words, blocks, std::make_integer_sequence<int, 16>{});
    words.a += before.a;
    words.b += before.b;
    words.c += before.c;
    words.d += before.d;
  }
  state[0] = words.a;
  state[1] = words.b;
  state[2] = words.c;
  state[3] = words.d;
}

}  // namespace korvel::hash

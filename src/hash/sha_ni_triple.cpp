// All three digests of one message. Compiled with its own flags, so nothing here may be called unless
// sha_ni::supported() returns true.
#include <utility>

#include "hash/block_stream.h"
#include "hash/sha_ni_woven.h"

namespace korvel::hash::sha_ni {
namespace {

template <bool kCount, int... kParts>
[[gnu::always_inline]] inline void allParts(Woven& woven, const uint8_t* block, ByteTables* tables,
                                            std::integer_sequence<int, kParts...>) {
  (wovenPart<kParts, kCount>(woven, block, block, tables), ...);
}

template <bool kCount>
[[gnu::always_inline]] inline void compressBlocks(TripleState& state, const uint8_t* blocks, size_t count,
                                                  ByteTables* tables) {
  Woven woven;
  woven.load(state);
  for (; count != 0; --count, blocks += kBlockBytes) {
    const WovenBefore before(woven);
    allParts<kCount>(woven, blocks, tables, std::make_integer_sequence<int, 16>{});
    before.addTo(woven);
  }
  woven.store(state);
}

}  // namespace

void triple(TripleState& state, const uint8_t* blocks, size_t count) {
  compressBlocks<false>(state, blocks, count, nullptr);
}

void tripleAndCount(TripleState& state, const uint8_t* blocks, size_t count, ByteTables& tables) {
  compressBlocks<true>(state, blocks, count, &tables);
}

}  // namespace korvel::hash::sha_ni

// All three digests of two messages, each in the gaps of the other's MD5. Compiled with its own flags, so
// nothing here may be called unless sha_ni::supported() returns true.
#include <utility>

#include "hash/block_stream.h"
#include "hash/lane_kernels.h"
#include "hash/sha_ni_woven.h"

namespace korvel::hash {
namespace {

/// Where the blocks of a message are, and where MD5 reads them.
struct Source {
  const uint8_t* block;
  const uint8_t* md5Block;
};

/// Compresses `count` blocks of each; MD5 reads a block of its own only where `kOwnMd5Block` is set. Two
/// states of MD5 leave few registers: one more pointer per message would put a state into memory, and the
/// chains would wait for it.
template <bool kOwnMd5Block, int... kParts>
[[gnu::noinline]] void compressPair(Woven (&messages)[2], Source (&sources)[2], size_t count,
                                    std::integer_sequence<int, kParts...>) {
  Woven first = messages[0], second = messages[1];
  Source from = sources[0], other = sources[1];
  for (; count != 0; --count) {
    const WovenBefore firstBefore(first), secondBefore(second);
    ((wovenPart<kParts, false>(first, from.block, kOwnMd5Block ? from.md5Block : from.block, nullptr),
      wovenPart<kParts, false>(second, other.block, kOwnMd5Block ? other.md5Block : other.block, nullptr)),
     ...);
    firstBefore.addTo(first);
    secondBefore.addTo(second);
    from.block += kBlockBytes;
    other.block += kBlockBytes;
  }
  messages[0] = first;
  messages[1] = second;
  sources[0].block = from.block;
  sources[1].block = other.block;
}

}  // namespace

void sha_ni::pair(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes) {
  constexpr auto kParts = std::make_integer_sequence<int, 16>{};
  Woven messages[2];
  Source sources[2] = {{blocks[0], nullptr}, {blocks[1], nullptr}};
  for (size_t lane = 0; lane < 2; ++lane) messages[lane].load(states.get(lane));
  compressPair<false>(messages, sources, count - 1, kParts);
  Md5LastBlock last[2];
  for (size_t lane = 0; lane < 2; ++lane) {
    const uint8_t* const block = sources[lane].block;
    sources[lane].md5Block = (lastLanes >> lane & 1) != 0 ? last[lane].of(block) : block;
  }
  compressPair<true>(messages, sources, 1, kParts);
  for (size_t lane = 0; lane < 2; ++lane) {
    TripleState state;
    messages[lane].store(state);
    states.set(lane, state);
  }
}

}  // namespace korvel::hash

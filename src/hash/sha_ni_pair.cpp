// All three digests of two messages, each in the gaps of the other's MD5. Compiled with its own flags, so
// nothing here may be called unless sha_ni::supported() returns true.
#include <utility>

#include "hash/block_stream.h"
#include "hash/lane_kernels.h"
#include "hash/sha_ni_woven.h"

namespace korvel::hash {
namespace {

struct Stream {
  Woven woven;
  const uint8_t* block;
  const uint8_t* md5Block;
};

template <int... kParts>
[[gnu::always_inline]] inline void allParts(Stream& first, Stream& second,
                                            std::integer_sequence<int, kParts...>) {
  ((wovenPart<kParts, false>(first.woven, first.block, first.md5Block, nullptr),
    wovenPart<kParts, false>(second.woven, second.block, second.md5Block, nullptr)),
   ...);
}

void compressPair(Stream& first, Stream& second, size_t count) {
  for (; count != 0; --count) {
    const WovenBefore firstBefore(first.woven), secondBefore(second.woven);
    allParts(first, second, std::make_integer_sequence<int, 16>{});
    firstBefore.addTo(first.woven);
    secondBefore.addTo(second.woven);
    for (Stream* stream : {&first, &second}) {
      stream->block += kBlockBytes;
      stream->md5Block += kBlockBytes;
    }
  }
}

}  // namespace

void sha_ni::pair(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes) {
  Stream streams[2];
  for (size_t lane = 0; lane < 2; ++lane) {
    streams[lane].woven.load(states.get(lane));
    streams[lane].block = streams[lane].md5Block = blocks[lane];
  }
  compressPair(streams[0], streams[1], count - 1);
  Md5LastBlock last[2];
  for (size_t lane = 0; lane < 2; ++lane) {
    if ((lastLanes >> lane & 1) != 0) streams[lane].md5Block = last[lane].of(streams[lane].block);
  }
  compressPair(streams[0], streams[1], 1);
  for (size_t lane = 0; lane < 2; ++lane) {
    TripleState state;
    streams[lane].woven.store(state);
    states.set(lane, state);
  }
}

}  // namespace korvel::hash

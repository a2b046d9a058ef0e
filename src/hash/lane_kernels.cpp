#include "hash/lane_kernels.h"

#include <algorithm>

#include "hash/block_stream.h"
#include "hash/md5.h"
#include "hash/processor.h"
#include "hash/sha1.h"
#include "hash/sha256.h"

namespace korvel::hash {
namespace {

bool always() { return true; }

// `worthLanes` from the time that a pass of each takes, whatever the number of lanes in use: 3.6 messages'
// worth for sixteen lanes, 1.1 for two; 2.7 portable ones for eight lanes.
constexpr LaneKernel kLaneKernels[] = {
    {"avx-512, 16 lanes", avx512::supported, 16, 7, avx512::compress},
    {"sha-ni, 2 lanes", sha_ni::supported, 2, 2, sha_ni::pair},
    {"avx2, 8 lanes", avx2::supported, 8, 3, avx2::compress},
    {"one lane", always, 1, 1, portable::oneLane},
};

}  // namespace

std::span<const LaneKernel> laneKernels() { return kLaneKernels; }

bool avx512::supported() { return processor().avx512; }
bool avx2::supported() { return processor().avx2; }

void LaneStates::set(size_t lane, const TripleState& state) {
  for (size_t i = 0; i < 4; ++i) md5[i][lane] = state.md5[i];
  for (size_t i = 0; i < 5; ++i) sha1[i][lane] = state.sha1[i];
  for (size_t i = 0; i < 8; ++i) sha256[i][lane] = state.sha256[i];
}

TripleState LaneStates::get(size_t lane) const {
  TripleState state;
  for (size_t i = 0; i < 4; ++i) state.md5[i] = md5[i][lane];
  for (size_t i = 0; i < 5; ++i) state.sha1[i] = sha1[i][lane];
  for (size_t i = 0; i < 8; ++i) state.sha256[i] = sha256[i][lane];
  return state;
}

const uint8_t* Md5LastBlock::of(const uint8_t* block) {
  constexpr size_t kBitCountBytes = 8;
  uint8_t* const bitCount = std::copy_n(block, kBlockBytes - kBitCountBytes, bytes_);
  std::reverse_copy(block + kBlockBytes - kBitCountBytes, block + kBlockBytes, bitCount);
  return bytes_;
}

void portable::oneLane(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes) {
  static const TripleKernel& kernel = fastestSupported(tripleKernels());
  TripleState state = states.get(0);
  const bool ends = (lastLanes & 1) != 0;
  const size_t whole = ends ? count - 1 : count;
  kernel.compress(state, blocks[0], whole);
  if (ends) {
    const uint8_t* const last = blocks[0] + whole * kBlockBytes;
    Md5Algorithm::compress(state.md5, Md5LastBlock().of(last), 1);
    Sha1Algorithm::compress(state.sha1, last, 1);
    Sha256Algorithm::compress(state.sha256, last, 1);
  }
  states.set(0, state);
}

}  // namespace korvel::hash

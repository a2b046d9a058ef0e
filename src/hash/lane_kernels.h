// Compression of several messages at once, each in a lane of its own, and the choice among the
// implementations.
//
// One message cannot be digested faster than MD5's chain of dependent steps allows, which leaves most of a
// processor idle. Several messages fill it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "hash/kernels.h"

namespace korvel::hash {

inline constexpr size_t kMaxLanes = 16;

/// The chaining states of all three digests, word by word: element [w][n] is word w of lane n.
struct LaneStates {
  uint32_t md5[4][kMaxLanes];
  uint32_t sha1[5][kMaxLanes];
  uint32_t sha256[8][kMaxLanes];

  void set(size_t lane, const TripleState& state);
  TripleState get(size_t lane) const;
};

struct LaneKernel {
  const char* name;  ///< for tests and benchmarks
  bool (*supported)();
  size_t lanes;
  /// With fewer messages than this the next kernel is faster.
  size_t worthLanes;
  /// Lane n compresses `count` blocks, at least one, from `blocks[n]` on, at any alignment; all `lanes`
  /// pointers must be readable. A lane whose bit is set in `lastLanes` ends its message with the last of
  /// these blocks: that block closes with the bit count in big-endian order, and MD5 sees it in little-endian
  /// order.
  void (*compress)(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes);
};

/// A copy of the last block of a message, with the bit count in the byte order of MD5.
class Md5LastBlock {
 public:
  const uint8_t* of(const uint8_t* block);

 private:
  uint8_t bytes_[64];
};

/// Best first; the last entry has one lane and runs everywhere.
std::span<const LaneKernel> laneKernels();

/// Sixteen lanes; needs AVX-512 F and BW, and a system that saves its registers.
namespace avx512 {
bool supported();
void compress(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes);
}  // namespace avx512

/// Eight lanes.
namespace avx2 {
bool supported();
void compress(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes);
}  // namespace avx2

namespace portable {
void oneLane(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes);
}  // namespace portable

/// Two messages in the gaps of each other's MD5.
namespace sha_ni {
void pair(LaneStates& states, const uint8_t* const* blocks, size_t count, uint32_t lastLanes);
}  // namespace sha_ni

}  // namespace korvel::hash

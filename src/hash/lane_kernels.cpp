#include "hash/lane_kernels.h"

#include <cpuid.h>

#include <algorithm>

#include "hash/block_stream.h"
#include "hash/md5.h"
#include "hash/sha1.h"
#include "hash/sha256.h"

namespace korvel::hash {
namespace {

bool always() { return true; }

// `worthLanes` from the time that a pass of each takes, whatever the number of lanes in use: 3.4 messages'
// worth for sixteen lanes, 1.1 for two; 2.3 portable ones for eight lanes.
constexpr LaneKernel kLaneKernels[] = {
    {"avx-512, 16 lanes", avx512::supported, 16, 7, avx512::compress},
    {"sha-ni, 2 lanes", sha_ni::supported, 2, 2, sha_ni::pair},
    {"avx2, 8 lanes", avx2::supported, 8, 3, avx2::compress},
    {"one lane", always, 1, 1, portable::oneLane},
};

constexpr unsigned kOsxsaveInEcx = 1u << 27;
constexpr unsigned kAvx2InEbx = 1u << 5;
constexpr unsigned kAvx512FInEbx = 1u << 16;
constexpr unsigned kAvx512BwInEbx = 1u << 30;
constexpr uint64_t kYmmStates = 0x06;  // SSE, upper halves of YMM
constexpr uint64_t kZmmStates = 0xe6;  // and mask registers, upper halves of ZMM, upper ZMM registers

/// The register states that the system saves; 0 when it does not say.
uint64_t savedStates() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & kOsxsaveInEcx) == 0) return 0;
  asm volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
  return uint64_t{edx} << 32 | eax;
}

bool supports(unsigned flagsInEbx, uint64_t states) {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) == 0) return false;
  return (ebx & flagsInEbx) == flagsInEbx && (savedStates() & states) == states;
}

}  // namespace

std::span<const LaneKernel> laneKernels() { return kLaneKernels; }

bool avx512::supported() { return supports(kAvx512FInEbx | kAvx512BwInEbx, kZmmStates); }
bool avx2::supported() { return supports(kAvx2InEbx, kYmmStates); }

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

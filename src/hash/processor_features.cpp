#include "hash/processor.h"

namespace korvel::hash {
namespace {

// Leaf 1.
constexpr uint32_t kSsse3InEcx = 1u << 9;
constexpr uint32_t kSse41InEcx = 1u << 19;
// Leaf 7, subleaf 0.
constexpr uint32_t kAvx2InEbx = 1u << 5;
constexpr uint32_t kAvx512FInEbx = 1u << 16;
constexpr uint32_t kShaInEbx = 1u << 29;
constexpr uint32_t kAvx512BwInEbx = 1u << 30;
constexpr uint32_t kAvx512Vbmi2InEcx = 1u << 6;
// XCR0.
constexpr uint64_t kYmmStates = 0x06;  // SSE, upper halves of YMM
constexpr uint64_t kZmmStates = 0xe6;  // and mask registers, upper halves of ZMM, upper ZMM registers

bool all(uint64_t flags, uint64_t wanted) { return (flags & wanted) == wanted; }

}  // namespace

ProcessorFeatures featuresOf(const ProcessorAnswers& answers) {
  const bool avx512 = all(answers.leaf7Ebx, kAvx512FInEbx | kAvx512BwInEbx) && all(answers.xcr0, kZmmStates);
  return {
      // Every 64-bit system saves the registers that the SHA instructions use.
      .shaNi = all(answers.leaf1Ecx, kSsse3InEcx | kSse41InEcx) && all(answers.leaf7Ebx, kShaInEbx),
      .avx2 = all(answers.leaf7Ebx, kAvx2InEbx) && all(answers.xcr0, kYmmStates),
      .avx512 = avx512,
      .avx512Compress = avx512 && all(answers.leaf7Ecx, kAvx512Vbmi2InEcx),
  };
}

}  // namespace korvel::hash

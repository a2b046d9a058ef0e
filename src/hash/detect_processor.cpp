#include "hash/processor.h"

#include <cpuid.h>

#include <cstdint>

namespace korvel::hash {
namespace {

// Leaf 1.
constexpr unsigned kSsse3InEcx = 1u << 9;
constexpr unsigned kSse41InEcx = 1u << 19;
constexpr unsigned kOsxsaveInEcx = 1u << 27;
// Leaf 7, subleaf 0.
constexpr unsigned kAvx2InEbx = 1u << 5;
constexpr unsigned kAvx512FInEbx = 1u << 16;
constexpr unsigned kShaInEbx = 1u << 29;
constexpr unsigned kAvx512BwInEbx = 1u << 30;
constexpr unsigned kAvx512Vbmi2InEcx = 1u << 6;
// XCR0: the register states that the system saves.
constexpr uint64_t kYmmStates = 0x06;  // SSE, upper halves of YMM
constexpr uint64_t kZmmStates = 0xe6;  // and mask registers, upper halves of ZMM, upper ZMM registers

uint64_t savedStates() {
  unsigned low = 0, high = 0;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return uint64_t{high} << 32 | low;
}

bool all(uint64_t flags, uint64_t wanted) { return (flags & wanted) == wanted; }

}  // namespace

ProcessorFeatures detectProcessor() {
  unsigned eax = 0, ebx = 0, edx = 0, ecx1 = 0, ebx7 = 0, ecx7 = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx1, &edx) == 0) return {};
  if (__get_cpuid_count(7, 0, &eax, &ebx7, &ecx7, &edx) == 0) return {};
  const uint64_t saved = all(ecx1, kOsxsaveInEcx) ? savedStates() : 0;
  const bool avx512 = all(ebx7, kAvx512FInEbx | kAvx512BwInEbx) && all(saved, kZmmStates);
  return {
      // Every 64-bit system saves the registers that the SHA instructions use.
      .shaNi = all(ecx1, kSsse3InEcx | kSse41InEcx) && all(ebx7, kShaInEbx),
      .avx2 = all(ebx7, kAvx2InEbx) && all(saved, kYmmStates),
      .avx512 = avx512,
      .avx512Compress = avx512 && all(ecx7, kAvx512Vbmi2InEcx),
  };
}

}  // namespace korvel::hash

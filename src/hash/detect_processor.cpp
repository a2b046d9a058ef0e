#include <cpuid.h>

#include "hash/processor.h"

namespace korvel::hash {
namespace {

constexpr uint32_t kOsxsaveInLeaf1Ecx = 1u << 27;

uint64_t xcr0() {
  unsigned low = 0, high = 0;
  asm volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return uint64_t{high} << 32 | low;
}

}  // namespace

ProcessorFeatures detectProcessor() {
  ProcessorAnswers answers;
  unsigned eax = 0, ebx = 0, edx = 0;
  // A processor without the leaf leaves the zeros.
  (void)__get_cpuid(1, &eax, &ebx, &answers.leaf1Ecx, &edx);
  (void)__get_cpuid_count(7, 0, &eax, &answers.leaf7Ebx, &answers.leaf7Ecx, &edx);
  if ((answers.leaf1Ecx & kOsxsaveInLeaf1Ecx) != 0) answers.xcr0 = xcr0();
  return featuresOf(answers);
}

}  // namespace korvel::hash

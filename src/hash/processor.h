// What this processor can do. Pure and thread-safe.
#pragma once

#include <cstdint>

namespace korvel::hash {

struct ProcessorFeatures {
  bool shaNi = false;           ///< SHA, SSSE3 and SSE4.1
  bool avx2 = false;            ///< and the system saves its registers
  bool avx512 = false;          ///< F and BW; and the system saves their registers
  bool avx512Compress = false;  ///< and VBMI2, which moves the chosen bytes of a register together
};

/// What the instruction CPUID answers, by leaf and register, and the register XCR0; 0 where there is none.
struct ProcessorAnswers {
  uint32_t leaf1Ecx = 0;
  uint32_t leaf7Ebx = 0;
  uint32_t leaf7Ecx = 0;
  uint64_t xcr0 = 0;  ///< the register states that the system saves
};

ProcessorFeatures featuresOf(const ProcessorAnswers& answers);

/// Asks the processor, which takes a virtual machine microseconds.
ProcessorFeatures detectProcessor();

/// Asks once. What the kernels are chosen by.
const ProcessorFeatures& processor();

}  // namespace korvel::hash

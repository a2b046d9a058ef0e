// What this processor can do. Pure and thread-safe.
#pragma once

namespace korvel::hash {

struct ProcessorFeatures {
  bool shaNi = false;           ///< SHA, SSSE3 and SSE4.1
  bool avx2 = false;            ///< and the system saves its registers
  bool avx512 = false;          ///< F and BW; and the system saves their registers
  bool avx512Compress = false;  ///< and VBMI2, which moves the chosen bytes of a register together
};

/// Asks the processor, which takes a virtual machine microseconds.
ProcessorFeatures detectProcessor();

/// Asks once. What the kernels are chosen by.
const ProcessorFeatures& processor();

}  // namespace korvel::hash

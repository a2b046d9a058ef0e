// Lets a program measure what a lesser processor would do. A program with lesser_processor.cpp among its
// sources takes hash::processor() from there, which is what the kernels are chosen by; the product has no
// such choice.
#pragma once

#include <string>

namespace korvel::bench {

/// The best that the processor has: "avx-512", "sha-ni" (no AVX-512), "avx2" (no SHA instructions either) or
/// "portable". Throws std::invalid_argument for another name, or where this processor has no such
/// instructions. Call it before anything is digested.
void useLesserProcessor(const std::string& best);

}  // namespace korvel::bench

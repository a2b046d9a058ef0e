// The available compression functions of each digest and ways to count bytes, and the choice among them.
//
// Each list is ordered best first and ends with "portable", which runs everywhere and is the reference that
// tests compare every other entry with. MD5 has only one implementation: its steps form a single dependency
// chain that no instruction set shortens.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "hash/byte_tables.h"

namespace korvel::hash {

/// SHA-1 and SHA-256: `state` has five or eight words; `blocks` holds `count` blocks of 64 bytes and may have
/// any alignment.
struct DigestKernel {
  const char* name;  ///< for tests and benchmarks
  bool (*supported)();
  void (*compress)(uint32_t* state, const uint8_t* blocks, size_t count);
};

/// Counting bytes. `length` is at most ByteTables::kMaxBytes for tables that start at zero.
struct CountKernel {
  const char* name;
  bool (*supported)();
  void (*count)(ByteTables& tables, const uint8_t* data, size_t length);
};

/// The chaining states of three digests that are fed the same blocks.
struct TripleState {
  uint32_t md5[4];
  uint32_t sha1[5];
  uint32_t sha256[8];
};

/// All three digests at once; compressAndCount() also counts the bytes of the blocks.
struct TripleKernel {
  const char* name;
  bool (*supported)();
  void (*compress)(TripleState& state, const uint8_t* blocks, size_t count);
  /// `count` is at most ByteTables::kMaxBytes / 64 for tables that start at zero.
  void (*compressAndCount)(TripleState& state, const uint8_t* blocks, size_t count, ByteTables& tables);
};

std::span<const CountKernel> countKernels();
std::span<const DigestKernel> sha1Kernels();
std::span<const DigestKernel> sha256Kernels();
std::span<const TripleKernel> tripleKernels();

/// The first entry of a list that this processor can run.
template <typename Kernel>
const Kernel& fastestSupported(std::span<const Kernel> kernels) {
  for (const Kernel& kernel : kernels) {
    if (kernel.supported()) return kernel;
  }
  return kernels.back();
}

/// The implementations behind the lists.
namespace portable {
void countBytes(ByteTables& tables, const uint8_t* data, size_t length);
void sha1(uint32_t* state, const uint8_t* blocks, size_t count);
void sha256(uint32_t* state, const uint8_t* blocks, size_t count);
void triple(TripleState& state, const uint8_t* blocks, size_t count);
void tripleAndCount(TripleState& state, const uint8_t* blocks, size_t count, ByteTables& tables);
}  // namespace portable

/// Takes the zeros out first, a third of the bytes of an ordinary image; needs AVX-512 with VBMI2.
namespace avx512_compress {
bool supported();
void countBytes(ByteTables& tables, const uint8_t* data, size_t length);
}  // namespace avx512_compress

/// These need the processor's SHA extensions, SSSE3 and SSE4.1.
namespace sha_ni {
bool supported();
void sha1(uint32_t* state, const uint8_t* blocks, size_t count);
void sha256(uint32_t* state, const uint8_t* blocks, size_t count);
void triple(TripleState& state, const uint8_t* blocks, size_t count);
void tripleAndCount(TripleState& state, const uint8_t* blocks, size_t count, ByteTables& tables);
}  // namespace sha_ni

}  // namespace korvel::hash

// Counts bytes without touching a counter for each zero. Compiled with its own flags, so nothing here may be
// called unless avx512_compress::supported() returns true.
#include <immintrin.h>

#include "hash/kernels.h"

namespace korvel::hash {
namespace {

constexpr size_t kVectorBytes = sizeof(__m512i);
constexpr size_t kRoomBytes = 4096;  // stays in the L1 cache beside the tables

}  // namespace

void avx512_compress::countBytes(ByteTables& tables, const uint8_t* data, size_t length) {
  uint8_t others[kRoomBytes + kVectorBytes];  // the bytes that are not zero
  size_t used = 0, total = 0;
  const auto take = [&](__m512i bytes) {
    const __mmask64 chosen = _mm512_test_epi8_mask(bytes, bytes);
    // Packed in a register first: a packing store takes many times as long.
    _mm512_storeu_si512(others + used, _mm512_maskz_compress_epi8(chosen, bytes));
    const auto count = static_cast<size_t>(_mm_popcnt_u64(chosen));
    used += count;
    total += count;
    if (used < kRoomBytes) return;
    tables.count(others, used);
    used = 0;
  };
  size_t at = 0;
  for (; length - at >= kVectorBytes; at += kVectorBytes) take(_mm512_loadu_si512(data + at));
  // The rest is filled up with zeros.
  if (at != length) take(_mm512_maskz_loadu_epi8((uint64_t{1} << (length - at)) - 1, data + at));
  tables.count(others, used);
  tables.counts[0][0] += static_cast<uint32_t>(length - total);
}

}  // namespace korvel::hash

// Shannon entropy in bits per byte: 0 for one repeated byte, 8 for evenly spread ones. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/byte_view.h"
#include "hash/byte_histogram.h"
#include "hash/triple_digest.h"

namespace korvel {

/// Minus the sum over the non-empty bins of p * log2(p); 0 for an empty histogram. The counts must add up to
/// less than 2^40.
double shannonEntropy(const hash::ByteCounts& counts);

/// Part of a buffer. What lies outside the buffer does not count.
struct ByteRange {
  uint64_t offset = 0;
  uint64_t size = 0;
};

struct BufferEntropies {
  double whole = 0.0;
  std::vector<double> ranges;  ///< in the order of the ranges asked for
};

/// The entropies of a buffer and of parts of it, which may overlap in any way. Each byte is counted once for
/// all parts together, or a few times for tens of thousands of ranges. Uses at most about 20 MiB. The buffer
/// must be smaller than 4 GiB. `digest`, when given, is fed the whole buffer in the same pass, which costs
/// less than two.
BufferEntropies measureEntropies(ByteView bytes, std::span<const ByteRange> ranges,
                                 hash::TripleDigest* digest = nullptr);

}  // namespace korvel

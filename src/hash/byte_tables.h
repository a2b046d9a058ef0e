// Counters of byte values: what a histogram is added up from. Pure; not thread-safe.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/sizes.h"

namespace korvel::hash {

/// Element `v` is the number of bytes with value `v`.
using ByteCounts = std::array<uint64_t, 256>;

/// Four partial histograms, used for successive bytes in turn. A single table is slow on runs of equal bytes,
/// where each increment waits for the previous one to reach memory.
struct ByteTables {
  static constexpr size_t kTables = 4;
  /// The most bytes to count before addTo(): far below the range of the counters, and enough to make the cost
  /// of addTo() negligible.
  static constexpr size_t kMaxBytes = 1 * kMiB;

  uint32_t counts[kTables][256] = {};

  void count(const uint8_t* data, size_t length);
  void addTo(ByteCounts& total) const;
};

}  // namespace korvel::hash

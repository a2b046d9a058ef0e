// How often each byte value occurs in a range, for entropy. Pure and thread-safe.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/sizes.h"

namespace korvel::hash {

/// Element `v` is the number of bytes with value `v`.
using ByteCounts = std::array<uint64_t, 256>;

/// Adds the bytes of a range to `counts`.
void countBytes(const uint8_t* data, size_t length, ByteCounts& counts);

/// Four partial histograms that the bytes go to in turn. One table alone degrades on runs of equal bytes,
/// where each increment waits for the one before it to reach memory.
struct ByteTables {
  static constexpr size_t kTables = 4;
  /// What a table is fed between clearing and addTo(): far below the range of its counters, and enough that
  /// adding the tables up costs nothing beside it.
  static constexpr size_t kMaxBytes = 1 * kMiB;

  uint32_t counts[kTables][256] = {};

  void count(const uint8_t* data, size_t length);
  void addTo(ByteCounts& total) const;
};

}  // namespace korvel::hash

// Counts, and on request refuses, what the calling thread allocates: hostile counts must not turn into
// memory.
#pragma once

#include <cstddef>

namespace korvel::test {

/// From construction to destruction every `new` of this thread is added up. At most one per thread at a time.
class AllocationMeter {
 public:
  AllocationMeter();
  ~AllocationMeter();
  AllocationMeter(const AllocationMeter&) = delete;
  AllocationMeter& operator=(const AllocationMeter&) = delete;

  size_t bytes() const;    ///< in all, freed or not
  size_t largest() const;  ///< the largest single block
};

/// While it lives, any single allocation of more than `bytes`, on any thread, throws std::bad_alloc.
class AllocationLimit {
 public:
  explicit AllocationLimit(size_t bytes);
  ~AllocationLimit();
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
};

}  // namespace korvel::test

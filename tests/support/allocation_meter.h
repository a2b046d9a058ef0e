// Counts, and on request refuses, what a test program allocates: hostile counts must not turn into memory,
// and what fails for want of memory must leave nothing behind.
//
// A program gets this by listing allocation_meter.cpp among its sources, which replaces operator new.
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

/// While it lives, any single allocation of more than `bytes` throws std::bad_alloc, on the threads given. At
/// most one at a time.
class AllocationLimit {
 public:
  enum class Threads { kAll, kOthers };  ///< kOthers: not the one that makes the limit
  explicit AllocationLimit(size_t bytes, Threads threads = Threads::kAll);
  ~AllocationLimit();
  AllocationLimit(const AllocationLimit&) = delete;
  AllocationLimit& operator=(const AllocationLimit&) = delete;
};

/// While it lives, the nth allocation (1 is the next one) throws std::bad_alloc, and with kForEver each one
/// after it too. At most one at a time.
class AllocationFault {
 public:
  enum class Times { kOnce, kForEver };
  enum class Threads { kThis, kOthers, kAll };  ///< kOthers: not the one that makes the fault
  AllocationFault(size_t nth, Times times, Threads threads = Threads::kThis);
  ~AllocationFault();
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;

  bool reached() const;  ///< whether an allocation has failed
  size_t calls() const;  ///< allocations so far, on the threads given
};

/// Blocks of operator new that are in use now, on all threads.
size_t blocksInUse();

}  // namespace korvel::test

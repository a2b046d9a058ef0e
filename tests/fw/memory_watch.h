// Watches the memory of this test program: counts blocks in use and makes an allocation fail on purpose.
#pragma once

#include <cstddef>

namespace korvel::test {

/// Blocks that operator new gave out in this program and that are still in use.
size_t heapBlocks();

/// The nth allocation of this thread from here on (1 is the next one) throws std::bad_alloc, once. The
/// end of the scope cancels it.
class FailingAllocation {
 public:
  explicit FailingAllocation(size_t nth);
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  /// Whether the allocation was reached.
  bool happened() const;
};

/// Blocks of COM's task memory in use, among them every BSTR. Counts from the first call on, for the rest of
/// the process, and turns off the cache of BSTRs that would blur the count. -1 when COM refuses to be
/// watched.
long taskMemoryBlocks();

}  // namespace korvel::test

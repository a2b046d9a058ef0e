#include "support/allocation_meter.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local bool counting = false;
thread_local size_t countedBytes = 0;
thread_local size_t largestBlock = 0;
std::atomic<size_t> blockLimit{SIZE_MAX};

}  // namespace

void* operator new(size_t bytes) {
  if (counting) {
    countedBytes += bytes;
    largestBlock = std::max(largestBlock, bytes);
  }
  if (bytes > blockLimit) throw std::bad_alloc();
  void* block = std::malloc(bytes == 0 ? 1 : bytes);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, size_t) noexcept { std::free(block); }

// The other forms are by default made of the two above, but a sanitizer brings its own; blocks of one form
// and the release of another then do not fit together.
void* operator new(size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return ::operator new(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](size_t bytes) { return ::operator new(bytes); }
void* operator new[](size_t bytes, const std::nothrow_t& no) noexcept { return ::operator new(bytes, no); }
void operator delete(void* block, const std::nothrow_t&) noexcept { ::operator delete(block); }
void operator delete[](void* block) noexcept { ::operator delete(block); }
void operator delete[](void* block, size_t) noexcept { ::operator delete(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { ::operator delete(block); }

namespace korvel::test {

AllocationMeter::AllocationMeter() {
  countedBytes = 0;
  largestBlock = 0;
  counting = true;
}
AllocationMeter::~AllocationMeter() { counting = false; }
size_t AllocationMeter::bytes() const { return countedBytes; }
size_t AllocationMeter::largest() const { return largestBlock; }

AllocationLimit::AllocationLimit(size_t bytes) { blockLimit = bytes; }
AllocationLimit::~AllocationLimit() { blockLimit = SIZE_MAX; }

}  // namespace korvel::test

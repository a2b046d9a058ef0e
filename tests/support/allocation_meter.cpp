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
thread_local bool exemptFromLimit = false;

constexpr size_t kNoFault = 0;
std::atomic<size_t> failingCall{kNoFault};  // counted from 1
std::atomic<size_t> callCount{0};
std::atomic<bool> failForEver{false};
std::atomic<bool> failHere{false};
std::atomic<bool> failElsewhere{false};
std::atomic<bool> hasFailed{false};
thread_local bool faultsMaker = false;

std::atomic<size_t> blocks{0};

bool mustFail(size_t bytes) {
  if (bytes > blockLimit && !exemptFromLimit) return true;
  const size_t failing = failingCall;
  if (failing == kNoFault || !(faultsMaker ? failHere : failElsewhere)) return false;
  const size_t call = ++callCount;
  if (call != failing && (call < failing || !failForEver)) return false;
  hasFailed = true;
  return true;
}

void* allocate(size_t bytes) noexcept {
  if (counting) {
    countedBytes += bytes;
    largestBlock = std::max(largestBlock, bytes);
  }
  if (mustFail(bytes)) return nullptr;
  void* block = std::malloc(bytes == 0 ? 1 : bytes);
  if (block != nullptr) ++blocks;
  return block;
}

void* allocateOrThrow(size_t bytes) {
  void* block = allocate(bytes);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void release(void* block) noexcept {
  if (block == nullptr) return;
  --blocks;
  std::free(block);
}

}  // namespace

// All of them: a sanitizer brings its own of those that are left out, and blocks must not change hands.
void* operator new(size_t bytes) { return allocateOrThrow(bytes); }
void* operator new[](size_t bytes) { return allocateOrThrow(bytes); }
void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return allocate(bytes); }
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return allocate(bytes); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, size_t) noexcept { release(block); }
void operator delete[](void* block, size_t) noexcept { release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { release(block); }

namespace korvel::test {

AllocationMeter::AllocationMeter() {
  countedBytes = 0;
  largestBlock = 0;
  counting = true;
}
AllocationMeter::~AllocationMeter() { counting = false; }
size_t AllocationMeter::bytes() const { return countedBytes; }
size_t AllocationMeter::largest() const { return largestBlock; }

AllocationLimit::AllocationLimit(size_t bytes, Threads threads) {
  exemptFromLimit = threads == Threads::kOthers;
  blockLimit = bytes;
}
AllocationLimit::~AllocationLimit() {
  blockLimit = SIZE_MAX;
  exemptFromLimit = false;
}

AllocationFault::AllocationFault(size_t nth, Times times, Threads threads) {
  faultsMaker = true;
  failHere = threads != Threads::kOthers;
  failElsewhere = threads != Threads::kThis;
  failForEver = times == Times::kForEver;
  hasFailed = false;
  callCount = 0;
  failingCall = nth;
}
AllocationFault::~AllocationFault() {
  failingCall = kNoFault;
  faultsMaker = false;
}
bool AllocationFault::reached() const { return hasFailed; }
size_t AllocationFault::calls() const { return callCount; }

size_t blocksInUse() { return blocks; }

}  // namespace korvel::test

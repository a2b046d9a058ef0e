#include "fw/memory_watch.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "base/win.h"

#include <objbase.h>
#include <oleauto.h>

// The interfaces of COM have no virtual destructor.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

extern "C" void WINAPI SetOaNoCache(void);

namespace {

std::atomic<size_t> blocks{0};
thread_local size_t untilFailure = 0;

void* allocate(size_t size) {
  if (untilFailure != 0 && --untilFailure == 0) throw std::bad_alloc();
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  ++blocks;
  return block;
}

void release(void* block) {
  if (block == nullptr) return;
  --blocks;
  std::free(block);
}

/// COM reports every task memory block here before or after it acts on it.
class TaskMemorySpy final : public IMallocSpy {
 public:
  long inUse() const { return inUse_; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    const bool known = id == __uuidof(IMallocSpy) || id == __uuidof(IUnknown);
    *object = known ? this : nullptr;
    return known ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
  void* STDMETHODCALLTYPE PostAlloc(void* block) override {
    if (block != nullptr) ++inUse_;
    return block;
  }
  void* STDMETHODCALLTYPE PreFree(void* block, BOOL spied) override {
    if (block != nullptr && spied) --inUse_;
    return block;
  }
  void STDMETHODCALLTYPE PostFree(BOOL) override {}
  SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** out, BOOL) override {
    *out = block;
    return size;
  }
  void* STDMETHODCALLTYPE PostRealloc(void* block, BOOL) override { return block; }
  void* STDMETHODCALLTYPE PreGetSize(void* block, BOOL) override { return block; }
  SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, BOOL) override { return size; }
  void* STDMETHODCALLTYPE PreDidAlloc(void* block, BOOL) override { return block; }
  int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int result) override { return result; }
  void STDMETHODCALLTYPE PreHeapMinimize() override {}
  void STDMETHODCALLTYPE PostHeapMinimize() override {}

 private:
  std::atomic<long> inUse_{0};
};

}  // namespace

void* operator new(size_t size) { return allocate(size); }
void* operator new[](size_t size) { return allocate(size); }
void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, size_t) noexcept { release(block); }
void operator delete[](void* block, size_t) noexcept { release(block); }

namespace korvel::test {

size_t heapBlocks() { return blocks; }

FailingAllocation::FailingAllocation(size_t nth) { untilFailure = nth; }
FailingAllocation::~FailingAllocation() { untilFailure = 0; }
bool FailingAllocation::happened() const { return untilFailure == 0; }

long taskMemoryBlocks() {
  static TaskMemorySpy spy;
  static const HRESULT watching = [] {
    ::SetOaNoCache();
    return ::CoRegisterMallocSpy(&spy);
  }();
  return SUCCEEDED(watching) ? spy.inUse() : -1;
}

}  // namespace korvel::test

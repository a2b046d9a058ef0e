#include "scan/scan_context.h"

#include <new>

#include "base/sizes.h"
#include "base/win.h"

namespace korvel {
namespace {

constexpr size_t kGrainBytes = 64 * kKiB;

}  // namespace

void ScanScratch::PagesDeleter::operator()(uint8_t* pages) const { ::VirtualFree(pages, 0, MEM_RELEASE); }

uint8_t* ScanScratch::Pages::atLeast(size_t bytes) {
  if (bytes > size) {
    const size_t grown = (bytes + kGrainBytes - 1) / kGrainBytes * kGrainBytes;
    memory.reset();
    size = 0;
    memory.reset(static_cast<uint8_t*>(
        ::VirtualAlloc(/*address=*/nullptr, grown, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE)));
    if (!memory) throw std::bad_alloc();
    size = grown;
  }
  return memory.get();
}

uint8_t* ScanScratch::readBuffer(size_t bytes) { return read_.atLeast(bytes); }
uint8_t* ScanScratch::imageBuffer(size_t bytes) { return image_.atLeast(bytes); }

}  // namespace korvel

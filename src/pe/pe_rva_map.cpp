#include "pe/pe_rva_map.h"

#include <algorithm>
#include <utility>

namespace korvel {
namespace {

// The loader reads whole disk sectors: with a file alignment of a sector or more it ignores the low bits of a
// section's file pointer. An image could hide its import table from a reader that does not.
constexpr uint32_t kSectorBytes = 512;

constexpr uint32_t kPageBytes = 0x1000;

// Sections aligned to less than a page cannot be placed one by one: the loader maps the file as it is, and an
// RVA is an offset in it, whatever the section headers say. An image that leaves the alignment out is one
// that no loader takes: its section headers are all there is.
bool mappedAsItIs(PeAlignment alignment) {
  return alignment.inMemory != 0 && alignment.inMemory < kPageBytes;
}

bool occupiesNothing(const PeSectionPlace& section) {
  return section.virtualSize == 0 && section.rawSize == 0;
}

bool byAddress(const PeSectionPlace& a, const PeSectionPlace& b) { return a.address < b.address; }

bool sameAddress(const PeSectionPlace& a, const PeSectionPlace& b) { return a.address == b.address; }

}  // namespace

RvaMap::RvaMap(ByteView file, PeAlignment alignment, std::vector<PeSectionPlace> sections) : file_(file) {
  if (mappedAsItIs(alignment)) return;
  sections_ = std::move(sections);
  std::erase_if(sections_, occupiesNothing);
  // Valid images already list their sections in this order, without overlap. In other images each section
  // ends where the next begins, and of several at one address the first in the header counts.
  std::stable_sort(sections_.begin(), sections_.end(), byAddress);
  sections_.erase(std::unique(sections_.begin(), sections_.end(), sameAddress), sections_.end());
  if (alignment.inFile >= kSectorBytes) {
    for (PeSectionPlace& section : sections_) section.rawPointer -= section.rawPointer % kSectorBytes;
  }
}

ByteView RvaMap::at(uint64_t rva) const {
  const auto next =
      std::upper_bound(sections_.begin(), sections_.end(), rva,
                       [](uint64_t value, const PeSectionPlace& s) { return value < s.address; });
  const uint64_t room = next == sections_.end() ? UINT64_MAX : next->address - rva;
  if (next == sections_.begin())
    return file_.clipped(rva, room);  // headers and flat images have the same offsets in file and memory
  const PeSectionPlace& section = *(next - 1);
  return file_.clipped(section.rawPointer, section.rawSize).clipped(rva - section.address, room);
}

}  // namespace korvel

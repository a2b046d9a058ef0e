// Finds the bytes of a PE file that the loader would place at a relative virtual address (RVA). Pure; reading
// is thread-safe.
#pragma once

#include <cstdint>
#include <vector>

#include "base/byte_view.h"

namespace korvel {

/// The fields of a section header that place it in the file and in memory. Sizes and pointers in bytes, as in
/// the file.
struct PeSectionPlace {
  uint32_t address = 0;  ///< RVA
  uint32_t virtualSize = 0;
  uint32_t rawPointer = 0;
  uint32_t rawSize = 0;
};

/// In bytes, as the optional header gives them; with 0 the section headers count as they stand.
struct PeAlignment {
  uint32_t inMemory = 0;  ///< of sections
  uint32_t inFile = 0;    ///< of their raw data
};

class RvaMap {
 public:
  /// `file` must outlive the map. The sections need not be valid or in order.
  RvaMap(ByteView file, PeAlignment alignment, std::vector<PeSectionPlace> sections);

  /// The bytes from `rva` on, as far as the same section (or, below all sections, the headers) has any in the
  /// file. In an image whose sections are aligned to less than a page they run to the end of the file.
  /// Callers must read past the end as 0: memory that the file does not fill is zero.
  ByteView at(uint64_t rva) const;

 private:
  ByteView file_;
  std::vector<PeSectionPlace> sections_;  // ascending, no two at one address; none in a flat image
};

}  // namespace korvel

// Reads the headers, sections and imports of a PE image out of untrusted bytes. Pure and thread-safe; bounded
// in time and memory for every input. Layout: Microsoft's "PE Format".
#pragma once

#include <cstdint>

#include "base/byte_view.h"
#include "pe/pe_info.h"

namespace korvel {

/// A shorter buffer is never an image.
inline constexpr uint64_t kPeMinimumBytes = 84;

/// Fills everything but the entropies and the packed mark. `bytes` is the beginning of a file of `fileSize`
/// bytes. Fields of a recognised image that lie beyond the buffer read as 0; section headers not wholly
/// inside it are left out. Returns an empty record for bytes that are not an image.
PeInfo parsePe(ByteView bytes, uint64_t fileSize);

}  // namespace korvel

// The names of the functions that a PE image imports. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pe/pe_rva_map.h"

namespace korvel {

/// Reading stops after this many names.
inline constexpr size_t kImportNameLimit = 2'000;

/// Where the headers say that the imports are.
struct ImportTable {
  uint32_t directory = 0;    ///< RVA of the import descriptors; 0 when there are none
  uint32_t headerBytes = 0;  ///< size of the headers in memory
  bool wideThunks = false;   ///< 8-byte thunks, as PE32+ has them
};

/// Walks the import descriptors and their name thunks. Imports by ordinal have no name. A name counts when it
/// has 1 to 127 characters, all from 0x20 to 0x7E; others are passed over. Names stand in file order,
/// repetitions included. Bounded work for every image; a malformed table yields the names before the damage.
std::vector<std::string> readImportNames(const RvaMap& image, const ImportTable& table);

}  // namespace korvel

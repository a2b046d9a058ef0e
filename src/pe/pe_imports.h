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

/// Walks the import descriptors at `directoryRva` (0 = there are none) and their name thunks; `wideThunks`
/// for the 8-byte thunks of PE32+. Imports by ordinal have no name. A name counts when it has 1 to 127
/// characters, all from 0x20 to 0x7E; others are passed over. Names stand in file order, repetitions
/// included. Bounded work for every image; a malformed table yields the names before the damage.
std::vector<std::string> readImportNames(const RvaMap& image, uint32_t directoryRva, bool wideThunks);

}  // namespace korvel

// Made-up content for the benchmarks, the same bytes for the same seed on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "support/pe_builder.h"

namespace korvel::bench {

/// An image of about `bytes` bytes (at least 16 KiB) with code, constants, data and imports.
test::Bytes peImage(uint32_t seed, size_t bytes);
/// The smallest useful image, with one import.
test::Bytes smallImage(uint32_t seed);
/// An image whose headers name `sections` overlapping sections, each of nearly all its `bytes` bytes.
test::Bytes overlappingImage(size_t sections, size_t bytes);
/// Lines of a made-up script.
std::string scriptText(uint32_t seed, size_t bytes);

}  // namespace korvel::bench

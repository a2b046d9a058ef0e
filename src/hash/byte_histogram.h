// How often each byte value occurs in a range, for entropy. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hash/byte_tables.h"

namespace korvel::hash {

/// Adds the bytes of a range to `counts`.
void countBytes(const uint8_t* data, size_t length, ByteCounts& counts);

}  // namespace korvel::hash

#include "signatures/record_numbers.h"

#include <bit>
#include <utility>

namespace korvel {

static_assert(std::endian::native == std::endian::little, "numbers are stored by their low-order bytes");

void RecordNumbers::widenFor(uint32_t largestValue) {
  if (largestValue <= largest()) return;
  RecordNumbers wide;
  wide.shift_ = largestValue <= 0xFFFF ? 1 : 2;
  wide.reserve(bytes_.capacity() >> shift_);
  wide.resize(size());
  for (size_t at = 0; at < size(); ++at) wide.set(at, get(at));
  *this = std::move(wide);
}

}  // namespace korvel

// What the fuzz targets of the payload decoders share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace korvel::fuzz {

/// The input as a payload, its bytes in a heap block of exactly their number (and a terminator).
inline std::string payloadOf(const uint8_t* data, size_t size) {
  return size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(data), size);
}

/// Ends the run as a finding; unlike assert() also in optimised builds.
inline void require(bool holds) {
  if (!holds) std::abort();
}

/// A payload that decodes to a value must decode to that value again after it was encoded, and bytes behind
/// it must not matter. Encoded text may differ from the input: malformed UTF-8 is replaced once.
template <typename Decode, typename Encode>
void checkRoundTrip(const std::string& payload, Decode decode, Encode encode) {
  const auto value = decode(payload);
  if (!value) return;
  const std::string encoded = encode(*value);
  const auto again = decode(encoded);
  require(again.has_value());
  require(encode(*again) == encoded);
  const auto longer = decode(payload + "tail");
  require(longer.has_value() && encode(*longer) == encoded);
}

}  // namespace korvel::fuzz

// What every payload decoder must hold to, whatever its layout.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "protocol/wire.h"
#include "support/allocation_meter.h"

namespace korvel::test {

/// Every strict prefix of a valid payload is refused; bytes after its end change nothing.
template <typename Decode>
void expectExactLength(const std::string& payload, Decode decode) {
  const auto whole = decode(payload);
  ASSERT_TRUE(whole.has_value());
  for (size_t length = 0; length < payload.size(); ++length) {
    EXPECT_FALSE(decode(payload.substr(0, length)).has_value()) << "cut after " << length << " bytes";
  }
  const auto longer = decode(payload + "trailing");
  ASSERT_TRUE(longer.has_value());
  EXPECT_EQ(*longer, *whole);
}

/// The decoder refuses the payload, and on the way allocates no more than a small multiple of it.
template <typename Decode>
void expectRefusedCheaply(const std::string& payload, Decode decode) {
  const AllocationMeter meter;
  EXPECT_FALSE(decode(payload).has_value());
  EXPECT_LE(meter.bytes(), 64 * payload.size() + 1024);
}

}  // namespace korvel::test

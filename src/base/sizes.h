// Sizes in bytes, spelt the same everywhere: 64 * kKiB, 32 * kMiB. Signed, so that they fit every arithmetic
// type without a cast.
#pragma once

namespace korvel {

inline constexpr int kKiB = 1024;
inline constexpr int kMiB = 1024 * kKiB;

}  // namespace korvel

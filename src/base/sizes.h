// Units for sizes in bytes: 64 * kKiB, 32 * kMiB. Signed, so that they convert to every arithmetic type
// without a cast, and wide, so that no product is computed in a narrower type than it is used in.
#pragma once

#include <cstdint>

namespace korvel {

inline constexpr int64_t kKiB = 1024;
inline constexpr int64_t kMiB = 1024 * kKiB;

}  // namespace korvel

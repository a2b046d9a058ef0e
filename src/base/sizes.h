// Units for sizes in bytes: 64 * kKiB, 32 * kMiB. Signed, so that they convert to every arithmetic type
// without a cast.
#pragma once

namespace korvel {

inline constexpr int kKiB = 1024;
inline constexpr int kMiB = 1024 * kKiB;

}  // namespace korvel

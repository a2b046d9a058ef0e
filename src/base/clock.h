// Time as this system stores it: FILETIME ticks (100 ns since 1601-01-01 UTC) and Unix seconds or
// milliseconds (UTC). The conversions are pure and meant for moments from 1970 on: earlier ones wrap. The
// readers ask the system clock.
#pragma once

#include <cstdint>

namespace korvel {

constexpr uint64_t kFileTimeTicksPerSecond = 10'000'000;
constexpr uint64_t kFileTimeTicksPerMillisecond = 10'000;
constexpr uint64_t kSecondsFrom1601To1970 = 11'644'473'600;

constexpr uint64_t unixSecondsFromFileTime(uint64_t ticks) {
  return ticks / kFileTimeTicksPerSecond - kSecondsFrom1601To1970;
}
constexpr uint64_t unixMillisecondsFromFileTime(uint64_t ticks) {
  return ticks / kFileTimeTicksPerMillisecond - kSecondsFrom1601To1970 * 1000;
}

#ifdef _WIN32
uint64_t systemFileTime();
uint64_t unixSecondsNow();
uint64_t unixMillisecondsNow();
/// Milliseconds since the system was started, in steps of up to 16. Goes on while the machine sleeps, and
/// nobody can set it.
uint64_t millisecondsWithSleep();
#endif

}  // namespace korvel

#include "korvelctl/machine/local_time.h"

#include "base/clock.h"
#include "base/win.h"

namespace korvel::ctl {
namespace {

constexpr uint64_t kLastConvertibleSecond = 253'402'300'799;  // the end of the year 9999

uint64_t ticksOf(const FILETIME& time) { return uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime; }

}  // namespace

uint64_t localTime(uint64_t utc) {
  if (utc > kLastConvertibleSecond) return utc;
  const uint64_t ticks = (utc + kSecondsFrom1601To1970) * kFileTimeTicksPerSecond;
  const FILETIME universal{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME system{}, wall{};
  FILETIME local{};
  if (!::FileTimeToSystemTime(&universal, &system) ||
      !::SystemTimeToTzSpecificLocalTime(/*zone=*/nullptr, &system, &wall) ||
      !::SystemTimeToFileTime(&wall, &local))
    return utc;
  return unixSecondsFromFileTime(ticksOf(local));
}

}  // namespace korvel::ctl

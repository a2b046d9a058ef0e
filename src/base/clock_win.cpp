#include "base/clock.h"
#include "base/win.h"

namespace korvel {

uint64_t systemFileTime() {
  FILETIME now{};
  ::GetSystemTimePreciseAsFileTime(&now);  // the plain one moves in steps of up to 16 ms
  return static_cast<uint64_t>(now.dwHighDateTime) << 32 | now.dwLowDateTime;
}

uint64_t unixSecondsNow() { return unixSecondsFromFileTime(systemFileTime()); }
uint64_t unixMillisecondsNow() { return unixMillisecondsFromFileTime(systemFileTime()); }
uint64_t millisecondsWithSleep() { return ::GetTickCount64(); }

}  // namespace korvel

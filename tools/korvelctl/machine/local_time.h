// The clock on the wall. Thread-safe.
#pragma once

#include <cstdint>

namespace korvel::ctl {

/// Unix seconds in UTC to this machine's local time, with the daylight saving of that moment, in seconds
/// since 1970 there. Unchanged when the system cannot tell.
uint64_t localTime(uint64_t utc);

}  // namespace korvel::ctl

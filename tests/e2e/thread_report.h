// Tells where the threads of a process are, for a failure that nobody can repeat.
#pragma once

#include <string>

#include "base/win.h"

namespace korvel::test {

/// For each thread its instruction and the return addresses on its stack, innermost first, as module+offset
/// (addr2line takes module base + offset). The stack is searched for values that lie in a module's code, so
/// there may be stale ones among them. Threads are held while they are looked at.
std::string threadReport(DWORD process);

}  // namespace korvel::test

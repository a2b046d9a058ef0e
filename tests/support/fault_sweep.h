// Makes each call of an operation fail in turn, and counts what was tried.
#pragma once

#include <cstddef>
#include <vector>

namespace korvel::test {

/// Which of `calls` calls, counted from 1, are to fail: every one when the environment variable KORVEL_FAULTS
/// is "all", else at most `few`, evenly spread, the first and the last among them.
std::vector<size_t> callsToFail(size_t calls, size_t few);

}  // namespace korvel::test

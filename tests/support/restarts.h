// Second starts of processes that the test platform loses now and then. They must not hide a failure of the
// product, so there is one per test at most, and the run's tally shows it.
#pragma once

#include <string>

namespace korvel::test {

/// Call where the platform has failed to start `program`. True when the running test may try once more; notes
/// that in the test's report and output. False when it has done so before.
bool mayRestart(const std::string& program);

}  // namespace korvel::test

// One week in the life of the service on a machine that is made up: clock, files, disk, pipe, server and all
// faults come from a seed. What decides is the product's own code; what waits, reads or sends is simulated.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace korvel::test {

struct WeekReport {
  /// The promises that were broken, with the moment; empty when all were kept.
  std::vector<std::string> broken;
  /// How often each kind of thing has happened.
  std::map<std::string, uint64_t> happened;
  /// A number that two equal weeks share.
  uint64_t trace = 0;
};

/// Equal seeds give equal weeks.
WeekReport simulateWeek(uint64_t seed);

}  // namespace korvel::test

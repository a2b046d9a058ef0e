#include "support/fault_sweep.h"

#include <cstdlib>
#include <cstring>

namespace korvel::test {

std::vector<size_t> callsToFail(size_t calls, size_t few) {
  const char* amount = std::getenv("KORVEL_FAULTS");
  const bool all = (amount != nullptr && std::strcmp(amount, "all") == 0) || calls <= few;
  std::vector<size_t> chosen;
  const size_t count = all ? calls : few;
  for (size_t i = 0; i < count; ++i) {
    chosen.push_back(all ? i + 1 : 1 + i * (calls - 1) / (few - 1));
  }
  return chosen;
}

}  // namespace korvel::test

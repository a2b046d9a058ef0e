// Weeks from seeds. KORVEL_WEEKS and KORVEL_SEED choose how many and from which seed on; a seed that breaks a
// promise breaks it every time.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "engine/simulation/simulated_week.h"

namespace korvel::test {
namespace {

uint64_t numberFrom(const char* variable, uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

/// Few where each costs much.
#if defined(_WIN32)
constexpr uint64_t kUsualWeeks = 20;
#elif defined(__has_feature)
constexpr uint64_t kUsualWeeks = __has_feature(thread_sanitizer) ? 10 : 200;
#else
constexpr uint64_t kUsualWeeks = 200;
#endif

TEST(SimulatedWeeks, KeepEveryPromiseFromEverySeed) {
  const uint64_t first = numberFrom("KORVEL_SEED", 1);
  const uint64_t weeks = numberFrom("KORVEL_WEEKS", kUsualWeeks);
  std::map<std::string, uint64_t> happened;
  for (uint64_t seed = first; seed < first + weeks; ++seed) {
    const WeekReport report = simulateWeek(seed);
    for (const auto& [what, count] : report.happened) happened[what] += count;
    for (const std::string& promise : report.broken) ADD_FAILURE() << promise;
    if (HasFailure()) break;
  }
  if (weeks >= 10) {
    EXPECT_EQ(happened.size(), 30u) << "whatever a week can bring has come";
  }
  for (const auto& [what, count] : happened) std::cout << count << " x " << what << "\n";
}

// A file is written anew while the version before it waits for its tries, or just after the last of them.
TEST(SimulatedWeeks, AFileWrittenAnewAroundItsLastTryHasItsEvent) {
  EXPECT_TRUE(simulateWeek(680).broken.empty());
  EXPECT_TRUE(simulateWeek(1'563).broken.empty());
}

TEST(SimulatedWeeks, ASeedGivesTheSameWeekAgain) {
  EXPECT_EQ(simulateWeek(3).trace, simulateWeek(3).trace);
  EXPECT_NE(simulateWeek(3).trace, simulateWeek(4).trace);
}

}  // namespace
}  // namespace korvel::test

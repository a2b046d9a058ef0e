#include "support/restarts.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>

namespace korvel::test {

bool mayRestart(const std::string& program) {
  static std::atomic<const testing::TestInfo*> restartedIn{nullptr};
  const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
  if (test == nullptr || restartedIn.exchange(test) == test) return false;
  testing::Test::RecordProperty("restarts", 1);
  std::printf("restart 1 of %s: the platform failed to start it\n", program.c_str());
  return true;
}

}  // namespace korvel::test

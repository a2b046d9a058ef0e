// The main() of every test program. A watchdog names the test that hangs and ends the process, so that a
// hang is a failure with a name and not a stuck run.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

constexpr int kWatchdogExitCode = 86;

std::atomic<int64_t> testStartedMs{0};

int64_t nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

class WatchdogListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& info) override {
    std::snprintf(name_, sizeof name_, "%s.%s", info.test_suite_name(), info.name());
    testStartedMs = nowMs();
  }
  void OnTestEnd(const testing::TestInfo&) override { testStartedMs = 0; }

 public:
  const char* name() const { return name_; }

 private:
  char name_[256] = {};
};

int64_t limitMs() {
  const char* seconds = std::getenv("KORVEL_TEST_LIMIT_SECONDS");
  return (seconds != nullptr ? std::atoll(seconds) : 300) * 1000;
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  auto* listener = new WatchdogListener;  // GoogleTest takes ownership
  testing::UnitTest::GetInstance()->listeners().Append(listener);
  std::thread([listener, limit = limitMs()] {
    for (;;) {
      std::this_thread::sleep_for(std::chrono::milliseconds(500));
      const int64_t started = testStartedMs;
      if (started == 0 || nowMs() - started < limit) continue;
      std::fprintf(stderr, "\nwatchdog: %s runs for more than %lld s\n", listener->name(),
                   static_cast<long long>(limit / 1000));
      std::fflush(stderr);
      std::_Exit(kWatchdogExitCode);
    }
  }).detach();
  return RUN_ALL_TESTS();
}

// How much memory a piece of work takes at its worst. Windows only; the program links psapi.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>

#include "base/win.h"

#include <psapi.h>

namespace korvel::test {

/// The most memory this process has used at once since the construction, beyond what it used then.
class MemoryPeak {
 public:
  uint64_t stop() {
    stopped_ = true;
    sampler_.join();
    return peak_ - before_;
  }

 private:
  static uint64_t resident() {
    PROCESS_MEMORY_COUNTERS counters{};
    EXPECT_TRUE(::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters));
    return counters.WorkingSetSize;
  }

  const uint64_t before_ = resident();
  uint64_t peak_ = before_;
  std::atomic<bool> stopped_{false};
  std::thread sampler_{[this] {
    while (!stopped_) {
      peak_ = std::max(peak_, resident());
      ::Sleep(2);
    }
  }};
};

}  // namespace korvel::test

// Waits for what another thread or process does.
#pragma once

#include <chrono>
#include <cstdint>
#include <thread>

namespace korvel::test {

/// How long a test waits for something that should happen at once: long enough for the busiest machine.
inline constexpr uint32_t kPatienceMs = 60'000;

/// Looks every few milliseconds until `done()` is true; false when it is not within the limit.
template <typename Done>
bool eventually(uint32_t limitMs, const Done& done) {
  constexpr std::chrono::milliseconds kPause{5};
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

template <typename Done>
bool eventually(const Done& done) {
  return eventually(kPatienceMs, done);
}

}  // namespace korvel::test

// Lives of the service that end in a kill, at a random moment of its work.
#pragma once

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "e2e/service_test.h"

namespace korvel::test {

/// Gives the frame of request number `i`, with the reply to the one before it.
using NextFrame = std::function<std::string(size_t i, const Reply& last)>;

class KillTest : public ServiceTest {
 protected:
  /// The longest time from the first request to the kill, for a request that is done at once. Most of the
  /// work to interrupt happens in the first milliseconds.
  static constexpr uint32_t kLongestLifeMicroseconds = 12'000;

  /// One life: start, one request after another, kill after a random time, which begins once `begun` is true.
  void liveAndDie(
      const NextFrame& next, uint32_t longestMicroseconds = kLongestLifeMicroseconds,
      const std::function<bool()>& begun = [] { return true; });

  /// Kills the service, which is doing its work already, after a random time.
  void dieWithin(uint32_t longestMicroseconds);

  /// After a kill: counts it as one in the middle of a write when the temporary file is there, and removes
  /// that.
  void countTemporary(const std::wstring& temporary);

  /// Tells what the kills of this test have shown.
  void showKills(const std::string& routine, int kills) const;

 private:
  std::mt19937 random_{20'251'121};
  int midWrite_ = 0;
};

}  // namespace korvel::test

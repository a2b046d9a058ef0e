#include "e2e/kill_fixture.h"

#include <chrono>
#include <thread>

#include "base/files.h"
#include "e2e/machine.h"

namespace korvel::test {
namespace {

/// Sends one request after another until the connection breaks, as it does when the service is killed.
class Hammer {
 public:
  explicit Hammer(NextFrame next) : next_(std::move(next)) {
    client_.connect();
    thread_ = std::thread([this] {
      Reply last;
      for (size_t i = 0;; ++i) {
        if (!client_.send(next_(i, last))) return;
        std::optional<Reply> reply = client_.receive();
        if (!reply) return;
        last = std::move(*reply);
      }
    });
  }
  ~Hammer() { thread_.join(); }

 private:
  NextFrame next_;
  Client client_;
  std::thread thread_;
};

/// Finer than the system's own sleep, whose steps would always hit the same moments of the service's work.
void sleepMicroseconds(uint32_t count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(count);
  while (std::chrono::steady_clock::now() < end) std::this_thread::yield();
}

}  // namespace

void KillTest::liveAndDie(const NextFrame& next, uint32_t longestMicroseconds,
                          const std::function<bool()>& begun) {
  startService();
  const Hammer hammer(next);
  EXPECT_TRUE(eventually(begun));
  dieWithin(longestMicroseconds);
}

void KillTest::dieWithin(uint32_t longestMicroseconds) {
  sleepMicroseconds(random_() % longestMicroseconds);
  service().kill();
}

void KillTest::countTemporary(const std::wstring& temporary) {
  if (!pathExists(temporary)) return;
  ++midWrite_;
  removeTree(temporary);
}

void KillTest::showKills(const std::string& routine, int kills) const {
  if (midWrite_ > 0)
    std::printf("%s: %d of %d kills in the middle of a write\n", routine.c_str(), midWrite_, kills);
  showFigure(routine, static_cast<uint64_t>(kills), "kills");
}

}  // namespace korvel::test

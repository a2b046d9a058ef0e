// The machine of a simulated week: time, chance, the disk with the settings, the update server, and what is
// to happen when.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <queue>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "engine/daily_window.h"

namespace korvel::test {

inline constexpr uint64_t kSecond = 1'000;
inline constexpr uint64_t kMinute = 60 * kSecond;
inline constexpr uint64_t kHour = 60 * kMinute;
inline constexpr uint64_t kDay = 24 * kHour;

/// Numbers from a seed, the same on every platform.
class Chance {
 public:
  explicit Chance(uint64_t seed) : engine_(seed) {}
  uint64_t below(uint64_t limit) { return engine_() % limit; }
  uint64_t between(uint64_t first, uint64_t last) { return first + below(last - first + 1); }
  bool oneIn(uint64_t count) { return below(count) == 0; }

 private:
  std::mt19937_64 engine_;
};

/// Times are milliseconds. Threads wait on awake(), which stands still while the machine sleeps; clock() goes
/// on.
class Timeline {
 public:
  using Action = std::function<void()>;

  explicit Timeline(uint64_t beginUnixMs) : beginUnixMs_(beginUnixMs) {}

  uint64_t awake() const { return awake_; }
  uint64_t clock() const { return awake_ + slept_; }
  uint64_t unixMs() const { return beginUnixMs_ + clock(); }
  uint64_t lastWake() const { return lastWake_; }
  svc::UtcMoment utc() const {
    using namespace std::chrono;
    const sys_time<milliseconds> now{milliseconds(unixMs())};
    const year_month_day date(floor<days>(now));
    const hh_mm_ss time(now - floor<days>(now));
    return {static_cast<uint32_t>(static_cast<int>(date.year())), static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day()), static_cast<uint32_t>(time.hours().count()),
            static_cast<uint32_t>(time.minutes().count())};
  }
  uint64_t day() const { return unixMs() / kDay; }

  void after(uint64_t delayMs, Action action) {
    queue_.push({awake_ + delayMs, order_++, std::move(action)});
  }
  void sleepFor(uint64_t ms) {
    slept_ += ms;
    lastWake_ = clock();
  }
  /// The moment of what comes next, by awake().
  uint64_t next() const { return queue_.empty() ? UINT64_MAX : queue_.top().at; }
  void setAwake(uint64_t at) { awake_ = at; }
  void runNext() {
    const Entry entry = queue_.top();
    queue_.pop();
    awake_ = entry.at;
    entry.action();
  }

 private:
  struct Entry {
    uint64_t at;
    uint64_t order;
    Action action;
    bool operator<(const Entry& other) const { return at != other.at ? at > other.at : order > other.order; }
  };
  const uint64_t beginUnixMs_;
  uint64_t awake_ = 0;
  uint64_t slept_ = 0;
  uint64_t lastWake_ = 0;
  uint64_t order_ = 0;
  std::priority_queue<Entry> queue_;
};

/// A file that somebody has written, until the next one writes it.
struct FileVersion {
  uint64_t serial = 0;
  int32_t contentSeverity = 0;
  int32_t nameSeverity = 0;
  uint64_t heldUntil = 0;  // awake(): until then nobody else can open it
  uint64_t notifications = 0;
  uint64_t lastNotification = 0;  // awake()
  bool waited = false;            // it was held at a notification
  bool mayFollowOne =
      false;  // the version that it has replaced may still wait, and its wait may end with this one
  uint64_t contentEvents = 0;
  uint64_t nameEvents = 0;
};

struct Machine {
  explicit Machine(uint64_t seed) : chance(seed), time(1'795'000'000'000 + seed * 7'919'000 % (28 * kDay)) {}

  Chance chance;
  Timeline time;
  std::map<std::wstring, FileVersion> files;
  uint64_t writes = 0;
  std::string settingsText;  // settings.ini; empty while there is none
  bool diskFails = false;
  bool serverAnswers = true;
  bool hostsHasBlock = false;
};

}  // namespace korvel::test

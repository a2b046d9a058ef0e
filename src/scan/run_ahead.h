// Feeds an ordered pipeline from a source that may be slow, and delivers each result as soon as it is its
// turn.
//
// Pure.
#pragma once

#include <chrono>
#include <cstdint>

#include "base/stop.h"
#include "scan/ordered_pipeline.h"

namespace korvel {

/// What one step of a source has brought.
enum class Supply { kItem, kNothing, kEnd };

/// A group that is not full is handed to the workers when the source has brought nothing for this long, and
/// to an idle worker when its first item has waited for this long.
inline constexpr std::chrono::milliseconds kHandOverAfter{20};

/// Runs everything that the steps `next(item, weight)` bring through the pipeline, and hands the results to
/// `deliver(result)` in the same order, all on this thread. What is finished is delivered before each step,
/// so a long search of the source delays no result by more than one step.
///
/// Ends when the source does and everything is delivered, or at once when `deliver` returns false. Once
/// `cancelled` is requested it delivers only what is finished in front of the first unfinished item, and if
/// it was waiting for that item, then also this one and what is finished behind it. The remaining results are
/// discarded. Throws what `next`, `deliver` and the work throw.
template <typename Item, typename Result, typename Next, typename Deliver>
void runAhead(OrderedPipeline<Item, Result>& pipeline, Next next, Deliver deliver,
              const StopToken& cancelled = {}) {
  using Clock = std::chrono::steady_clock;
  Item item;
  uint64_t weight = 0;
  Supply supply = Supply::kNothing;
  Clock::time_point lastItem = Clock::now();
  Clock::time_point lastHandOver = lastItem;
  bool cutWhileWaiting = false;
  for (;;) {
    while (pipeline.ready()) {
      if (!deliver(pipeline.pop().second)) return;
    }
    if (cutWhileWaiting) return;
    if (supply == Supply::kItem && pipeline.hasRoom(weight)) {
      pipeline.push(item, weight);
      supply = Supply::kNothing;
      lastItem = Clock::now();
    }
    if (supply == Supply::kNothing) {
      supply = next(item, weight);
      const Clock::time_point now = Clock::now();
      const bool quiet = supply == Supply::kNothing && now - lastItem >= kHandOverAfter;
      if (quiet || (now - lastHandOver >= kHandOverAfter && pipeline.workerIdle())) {
        pipeline.handOver();
        lastHandOver = now;
      }
      continue;
    }
    if (pipeline.empty() || cancelled.stop_requested()) return;
    const Result result = pipeline.pop().second;
    cutWhileWaiting = cancelled.stop_requested();
    if (!deliver(result)) return;
  }
}

}  // namespace korvel

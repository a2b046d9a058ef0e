// Results fall as they are ready, however slowly the source brings the next item.
#include "scan/run_ahead.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/eventually.h"

namespace korvel {
namespace {

using Pipeline = OrderedPipeline<int, int>;

Pipeline::Work identity() {
  return Pipeline::oneByOne([](const int& item) { return item; });
}

/// Items first, then steps without an item until `enough()` is true, then the end.
template <typename Enough>
auto itemsThenSearch(int items, Enough enough) {
  return [=, at = 0](int& item, uint64_t& weight) mutable {
    if (at < items) {
      item = at++;
      weight = 1;
      return Supply::kItem;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return enough() ? Supply::kEnd : Supply::kNothing;
  };
}

std::vector<int> firstNumbers(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(i);
  return numbers;
}

TEST(RunAhead, EveryResultFallsWhileTheSourceStillSearches) {
  constexpr int kItems = 9;  // less than a group
  for (const size_t workers : {1u, 2u, 4u}) {
    Pipeline pipeline(workers, identity);
    std::vector<int> delivered;
    bool endedEmptyHanded = false;
    // The source ends only when everything is delivered, or after a time that shows that it never would be.
    const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(test::kPatienceMs);
    const auto source = itemsThenSearch(kItems, [&] {
      endedEmptyHanded = std::chrono::steady_clock::now() > limit;
      return delivered.size() == kItems || endedEmptyHanded;
    });
    runAhead(pipeline, source, [&](int result) {
      delivered.push_back(result);
      return true;
    });
    EXPECT_FALSE(endedEmptyHanded) << workers;
    EXPECT_EQ(delivered, firstNumbers(kItems)) << workers;
  }
}

TEST(RunAhead, AResultDoesNotWaitForASlowNeighbourInItsGroup) {
  std::atomic<bool> release{false};
  Pipeline pipeline(1, [&release] {
    return Pipeline::oneByOne([&release](const int& item) {
      if (item == 1) {
        EXPECT_TRUE(test::eventually([&release] { return release.load(); }));
      }
      return item;
    });
  });
  std::vector<int> delivered;
  runAhead(pipeline, itemsThenSearch(16, [] { return true; }), [&](int result) {
    delivered.push_back(result);
    release = true;  // the neighbour is finished only after this delivery
    return true;
  });
  EXPECT_EQ(delivered, firstNumbers(16));
}

TEST(RunAhead, WithoutACutTheResultsAreTheSameForEveryNumberOfWorkers) {
  for (const size_t workers : {1u, 2u, 4u}) {
    Pipeline pipeline(workers, identity);
    std::vector<int> delivered;
    runAhead(pipeline, itemsThenSearch(1'000, [] { return true; }), [&](int result) {
      delivered.push_back(result);
      return true;
    });
    EXPECT_EQ(delivered, firstNumbers(1'000)) << workers;
  }
}

TEST(RunAhead, AfterACancelWhatIsFinishedInFrontOfTheFirstUnfinishedItemIsDelivered) {
  StopSource cancel;
  std::atomic<int> finished{0};
  std::atomic<bool> allPushed{false}, giveUp{false};
  std::vector<int> delivered;
  {
    Pipeline pipeline(2,
                      [&] {
                        return Pipeline::oneByOne([&](const int& item) {
                          if (item == 0) {
                            EXPECT_TRUE(test::eventually([&] { return allPushed.load(); }));
                          }
                          if (item == 3) {
                            EXPECT_TRUE(test::eventually([&] { return giveUp.load(); }));
                          }
                          ++finished;
                          return item;
                        });
                      },
                      {128, 1000, 1, 1000, 1, 1000});
    runAhead(
        pipeline,
        itemsThenSearch(6,
                        [&] {
                          allPushed = true;
                          return cancel.stop_requested();
                        }),
        [&](int result) {
          delivered.push_back(result);
          if (result > 0) return true;
          // All but the unfinished one, which the other items have overtaken.
          EXPECT_TRUE(test::eventually([&] { return finished == 5; }));
          cancel.request_stop();
          return true;
        },
        cancel.get_token());
    giveUp = true;
  }
  EXPECT_EQ(delivered, firstNumbers(3));
}

// The rest of its group is finished by the time that the awaited one is delivered.
TEST(RunAhead, ACancelWhileTheFirstOfAGroupIsAwaitedLosesNothingThatIsFinishedBehindIt) {
  StopSource cancel;
  std::atomic<int> finished{0};
  Pipeline pipeline(1, [&] {
    return [&](std::span<const int> items, const Pipeline::Finish& finish) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the owner waits by now
      cancel.request_stop();
      for (const int item : items) {
        finish(item);
        ++finished;
      }
    };
  });
  std::vector<int> delivered;
  runAhead(
      pipeline, itemsThenSearch(9, [] { return true; }),
      [&](int result) {
        EXPECT_TRUE(test::eventually([&] { return finished == 9; }));
        delivered.push_back(result);
        return true;
      },
      cancel.get_token());
  EXPECT_EQ(delivered, firstNumbers(9));
}

TEST(RunAhead, AnIdleWorkerGetsAGroupThatASlowSourceIsStillFilling) {
  std::atomic<bool> worked{false};
  Pipeline pipeline(1, [&worked] {
    return Pipeline::oneByOne([&worked](const int& item) {
      worked = true;
      return item;
    });
  });
  // Items come all the time, each too soon after the last one for a pause, and too few for a group.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(test::kPatienceMs);
  int brought = 0;
  const auto source = [&](int& item, uint64_t& weight) {
    if (worked || brought == 15 || std::chrono::steady_clock::now() > limit) return Supply::kEnd;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    item = brought++;
    weight = 1;
    return Supply::kItem;
  };
  int delivered = 0;
  runAhead(pipeline, source, [&delivered](int) {
    ++delivered;
    return true;
  });
  EXPECT_TRUE(worked);
  EXPECT_LT(brought, 15) << "the worker began only with the end of the source";
  EXPECT_EQ(delivered, brought);
}

TEST(OrderedPipeline, AWorkerThatCannotBeMadeIsLeftOut) {
  int made = 0;
  Pipeline pipeline(4, [&made] {
    if (++made == 3) throw std::bad_alloc();
    return identity();
  });
  EXPECT_EQ(pipeline.workers(), 2u);
  pipeline.push(7, 1);
  EXPECT_EQ(pipeline.pop().second, 7);
}

TEST(OrderedPipeline, MayHaveNoWorkerAtAll) {
  const Pipeline pipeline(4, []() -> Pipeline::Work { throw std::bad_alloc(); });
  EXPECT_EQ(pipeline.workers(), 0u);
}

}  // namespace
}  // namespace korvel

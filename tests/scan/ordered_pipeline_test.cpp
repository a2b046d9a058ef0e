#include "scan/ordered_pipeline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <span>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/eventually.h"

namespace korvel {
namespace {

using Pipeline = OrderedPipeline<int, int>;

/// Work that takes a different, small time for each item, so that workers overtake each other.
Pipeline::Work unevenSquare() {
  return Pipeline::oneByOne([](const int& item) {
    volatile int sink = 0;
    for (int i = 0; i < (item * 7919) % 5000; ++i) sink = sink + i;
    return item * item;
  });
}

std::vector<int> runAll(size_t workers, int count, const PipelineLimits& limits) {
  Pipeline pipeline(workers, unevenSquare, limits);
  std::vector<int> results;
  int next = 0;
  while (next < count || !pipeline.empty()) {
    while (next < count && pipeline.hasRoom(1)) {
      pipeline.push(next, 1);
      ++next;
    }
    const auto [item, result] = pipeline.pop();
    EXPECT_EQ(result, item * item);
    results.push_back(item);
  }
  return results;
}

TEST(OrderedPipeline, ResultsComeInTheOrderOfTheItemsForEveryNumberOfWorkers) {
  std::vector<int> expected(1000);
  for (int i = 0; i < 1000; ++i) expected[static_cast<size_t>(i)] = i;
  for (const size_t workers : {1u, 2u, 4u}) {
    EXPECT_EQ(runAll(workers, 1000, {}), expected);
    EXPECT_EQ(runAll(workers, 1000, {3, 1000, 2, 1000}), expected);
    EXPECT_EQ(runAll(workers, 1000, {128, 1000, 1, 1000}), expected);
  }
}

TEST(OrderedPipeline, TheWindowLimitsItemsAndWeightButLetsOneHeavyItemIn) {
  Pipeline pipeline(1, unevenSquare, {2, 100, 1, 1});
  EXPECT_TRUE(pipeline.hasRoom(1000));
  pipeline.push(1, 1000);
  EXPECT_FALSE(pipeline.hasRoom(1));
  pipeline.pop();
  pipeline.push(1, 60);
  EXPECT_TRUE(pipeline.hasRoom(40));
  EXPECT_FALSE(pipeline.hasRoom(41));
  pipeline.push(2, 40);
  EXPECT_FALSE(pipeline.hasRoom(0));
}

TEST(OrderedPipeline, APartlyFilledGroupIsHandedOverWhenItsResultIsWanted) {
  Pipeline pipeline(2, unevenSquare, {128, 1000, 16, 1000});
  pipeline.push(3, 1);
  EXPECT_EQ(pipeline.pop(), (std::pair{3, 9}));
  EXPECT_TRUE(pipeline.empty());
}

TEST(OrderedPipeline, ALightItemDoesNotWaitForAHeavyOneBehindIt) {
  constexpr int kHeavy = 1000;
  std::atomic<bool> lightTaken{false};
  Pipeline pipeline(2,
                    [&] {
                      return Pipeline::oneByOne([&](const int& item) {
                        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
                        while (item == kHeavy && !lightTaken && std::chrono::steady_clock::now() < limit) {
                          std::this_thread::yield();
                        }
                        return item == kHeavy && lightTaken ? 1 : 0;
                      });
                    },
                    {128, 10'000, 16, kHeavy, 16, kHeavy});
  pipeline.push(1, 1);
  pipeline.push(kHeavy, kHeavy);
  EXPECT_EQ(pipeline.pop().first, 1);
  lightTaken = true;
  EXPECT_EQ(pipeline.pop().second, 1) << "the light item came only after the heavy one";
}

TEST(OrderedPipeline, AnExceptionComesOutAtItsOwnPlace) {
  Pipeline pipeline(2, [] {
    return Pipeline::oneByOne([](const int& item) -> int {
      if (item == 2) throw std::runtime_error("two");
      return item;
    });
  });
  for (int i = 1; i <= 3; ++i) pipeline.push(i, 1);
  EXPECT_EQ(pipeline.pop().first, 1);
  EXPECT_THROW(pipeline.pop(), std::runtime_error);
  EXPECT_EQ(pipeline.pop().first, 3);
}

TEST(OrderedPipeline, EachWorkerGetsAWorkFunctionOfItsOwn) {
  std::atomic<int> made{0};
  Pipeline pipeline(3, [&made] {
    ++made;
    return Pipeline::oneByOne([](const int& item) { return item; });
  });
  EXPECT_EQ(made, 3);
}

TEST(OrderedPipeline, DestructionAbandonsWhatHasNotBegun) {
  std::atomic<int> begun{0};
  std::atomic<bool> release{false};
  {
    Pipeline pipeline(1,
                      [&] {
                        return Pipeline::oneByOne([&](const int& item) {
                          ++begun;
                          while (!release) std::this_thread::yield();
                          return item;
                        });
                      },
                      {100, 1000, 4, 1000});
    for (int i = 0; i < 40; ++i) pipeline.push(i, 1);
    EXPECT_TRUE(test::eventually([&] { return begun != 0; }));
    std::thread([&release] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      release = true;
    }).detach();
  }
  EXPECT_LT(begun, 40);
}

/// The sizes of the groups that reach a worker, from the first one that finds it busy.
TEST(OrderedPipeline, AGroupGrowsWhileEveryWorkerIsBusyAndIsSmallForAnIdleOne) {
  std::atomic<bool> release{false};
  std::vector<size_t> sizes;
  Pipeline pipeline(1,
                    [&] {
                      return [&](std::span<const int> items, const Pipeline::Finish& finish) {
                        sizes.push_back(items.size());
                        EXPECT_TRUE(test::eventually([&] { return release.load(); }));
                        for (const int item : items) {
                          if (!finish(item)) return;
                        }
                      };
                    },
                    {128, 1000, 4, 1000, 10, 1000});
  EXPECT_TRUE(test::eventually([&] { return pipeline.workerIdle(); }));
  int next = 0;
  while (next < 4) pipeline.push(next++, 1);
  EXPECT_TRUE(test::eventually([&] { return !pipeline.workerIdle(); }));
  while (next < 30) pipeline.push(next++, 1);
  release = true;
  for (int i = 0; i < 30; ++i) EXPECT_EQ(pipeline.pop().second, i);
  EXPECT_EQ(sizes, (std::vector<size_t>{4, 10, 10, 6}));
}

TEST(OrderedPipeline, WorkThatThrowsInTheMidstOfAGroupIsCalledAgainForTheItemsBehind) {
  std::vector<std::vector<int>> groups;
  Pipeline pipeline(1,
                    [&groups] {
                      return [&groups](std::span<const int> items, const Pipeline::Finish& finish) {
                        groups.emplace_back(items.begin(), items.end());
                        for (const int item : items) {
                          if (item % 3 == 2) throw std::runtime_error("third");
                          finish(item);
                        }
                      };
                    },
                    {128, 1000, 8, 1000, 8, 1000});
  for (int i = 0; i < 8; ++i) pipeline.push(i, 1);
  for (int i = 0; i < 8; ++i) {
    if (i % 3 == 2) {
      EXPECT_THROW(pipeline.pop(), std::runtime_error) << i;
    } else {
      EXPECT_EQ(pipeline.pop().second, i);
    }
  }
  EXPECT_EQ(groups, (std::vector<std::vector<int>>{{0, 1, 2, 3, 4, 5, 6, 7}, {3, 4, 5, 6, 7}, {6, 7}}));
}

TEST(OrderedPipeline, AnItemThatTheWorkLeavesUnfinishedHasFailed) {
  Pipeline pipeline(1, [] {
    return [](std::span<const int> items, const Pipeline::Finish& finish) {
      if (items.front() != 1) finish(items.front());
    };
  });
  for (int i = 0; i < 3; ++i) pipeline.push(i, 1);
  EXPECT_THROW(
      {
        pipeline.pop();
        pipeline.pop();
      },
      std::logic_error);
}

}  // namespace
}  // namespace korvel

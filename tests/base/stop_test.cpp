#include "base/stop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "support/eventually.h"

namespace korvel {
namespace {

TEST(Stop, ATokenSeesTheStopOfItsSourceAndOutlivesIt) {
  std::optional<StopSource> source(std::in_place);
  const StopToken token = source->get_token();
  EXPECT_FALSE(token.stop_requested());
  EXPECT_TRUE(source->request_stop());
  EXPECT_FALSE(source->request_stop());
  source.reset();
  EXPECT_TRUE(token.stop_requested());
}

TEST(Stop, ATokenWithoutASourceNeverStops) { EXPECT_FALSE(StopToken().stop_requested()); }

TEST(Stop, EachCallbackRunsOnceUnlessItHasGone) {
  StopSource source;
  int first = 0, gone = 0, last = 0;
  const StopCallback one(source.get_token(), [&] { ++first; });
  std::optional<StopCallback> two(std::in_place, source.get_token(), [&] { ++gone; });
  const StopCallback three(source.get_token(), [&] { ++last; });
  two.reset();
  source.request_stop();
  source.request_stop();
  EXPECT_EQ(first, 1);
  EXPECT_EQ(gone, 0);
  EXPECT_EQ(last, 1);
}

TEST(Stop, CallbacksMayGoFromTheMidstOfOthers) {
  StopSource source;
  std::vector<int> ran;
  const auto callback = [&](int number) {
    return std::make_unique<StopCallback>(source.get_token(), [&ran, number] { ran.push_back(number); });
  };
  std::vector<std::unique_ptr<StopCallback>> callbacks;
  for (int number = 0; number < 5; ++number) callbacks.push_back(callback(number));
  for (const size_t gone : {2u, 1u, 3u}) callbacks[gone].reset();
  source.request_stop();
  EXPECT_EQ(ran, (std::vector<int>{4, 0}));
}

TEST(Stop, AnActionMayEndTheCallbackThatIsNext) {
  StopSource source;
  int ran = 0;
  const StopCallback last(source.get_token(), [&ran] { ++ran; });
  std::optional<StopCallback> next(std::in_place, source.get_token(), [&ran] { ran += 10; });
  const StopCallback first(source.get_token(), [&next] { next.reset(); });
  source.request_stop();
  EXPECT_EQ(ran, 1);
}

TEST(Stop, ACallbackThatComesTooLateRunsAtOnce) {
  StopSource source;
  source.request_stop();
  int runs = 0;
  const StopCallback late(source.get_token(), [&] { ++runs; });
  EXPECT_EQ(runs, 1);
}

TEST(Stop, AnActionMayDestroyItsCallbackAndTheSource) {
  std::optional<StopSource> source(std::in_place);
  std::optional<StopCallback> callback;
  callback.emplace(source->get_token(), [&] {
    callback.reset();
    source.reset();
  });
  EXPECT_TRUE(source->request_stop());
  EXPECT_FALSE(callback.has_value());
}

TEST(Stop, TheEndOfACallbackWaitsForItsActionOnAnotherThread) {
  StopSource source;
  std::atomic<bool> began{false}, release{false}, ended{false};
  std::optional<StopCallback> callback(std::in_place, source.get_token(), [&] {
    began = true;
    EXPECT_TRUE(test::eventually([&] { return release.load(); }));
    ended = true;
  });
  std::thread requester([&] { source.request_stop(); });
  EXPECT_TRUE(test::eventually([&] { return began.load(); }));
  std::thread releaser([&] { release = true; });
  callback.reset();
  EXPECT_TRUE(ended);
  releaser.join();
  requester.join();
}

// Callbacks come and go while the stop arrives: none is lost in the waiting, and each runs at most once.
TEST(Stop, ComesAtAnyMomentOfAnyCallback) {
  for (int round = 0; round < 300; ++round) {
    StopSource source;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        while (!source.stop_requested()) {
          std::atomic<int> runs{0};
          {
            const StopCallback callback(source.get_token(), [&] { ++runs; });
          }
          if (runs > 1) ++wrong;
        }
      });
    }
    source.request_stop();
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
  }
}

}  // namespace
}  // namespace korvel

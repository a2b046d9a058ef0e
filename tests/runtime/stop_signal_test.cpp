#include "runtime/stop_signal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace korvel {
namespace {

bool signalled(HANDLE event) { return ::WaitForSingleObject(event, 0) == WAIT_OBJECT_0; }

TEST(StopSignal, IsOneForTheProcess) { EXPECT_EQ(&StopSignal::process(), &StopSignal::process()); }

TEST(StopSignal, HasNoEventBeforeItIsMadeAndAfterItIsClosed) {
  StopSignal stop;
  EXPECT_EQ(stop.event(), nullptr);
  stop.closeEvent();
  EXPECT_EQ(stop.event(), nullptr);
  ASSERT_TRUE(stop.createEvent());
  EXPECT_NE(stop.event(), nullptr);
  EXPECT_FALSE(signalled(stop.event()));
  EXPECT_FALSE(stop.requested());
  stop.closeEvent();
  EXPECT_EQ(stop.event(), nullptr);
}

TEST(StopSignal, ARequestSetsTheFlagAndTheEventForEveryWait) {
  StopSignal stop;
  ASSERT_TRUE(stop.createEvent());
  stop.requestStop();
  EXPECT_TRUE(stop.requested());
  EXPECT_TRUE(signalled(stop.event()));
  EXPECT_TRUE(signalled(stop.event()));  // manual reset
  stop.requestStop();
  EXPECT_TRUE(signalled(stop.event()));
}

TEST(StopSignal, ARequestWithoutAnEventSetsTheFlag) {
  StopSignal stop;
  stop.requestStop();
  EXPECT_TRUE(stop.requested());
}

TEST(StopSignal, TheFlagIsNeverReset) {
  StopSignal stop;
  ASSERT_TRUE(stop.createEvent());
  stop.requestStop();
  stop.closeEvent();
  EXPECT_TRUE(stop.requested());
  ASSERT_TRUE(stop.createEvent());
  EXPECT_TRUE(stop.requested());
}

TEST(StopSignal, ARequestEndsAWait) {
  StopSignal stop;
  ASSERT_TRUE(stop.createEvent());
  std::thread requester([&stop] { stop.requestStop(); });
  EXPECT_EQ(::WaitForSingleObject(stop.event(), INFINITE), WAIT_OBJECT_0);
  requester.join();
}

// The system soon gives the number of a closed handle to another object, which must not be signalled.
TEST(StopSignal, ARequestNeverSignalsAHandleThatHasBeenClosed) {
  StopSignal stop;
  std::atomic<bool> done{false};
  std::vector<std::thread> requesters;
  for (int i = 0; i < 2; ++i) {
    requesters.emplace_back([&] {
      while (!done) stop.requestStop();
    });
  }
  for (int round = 0; round < 500; ++round) {
    ASSERT_TRUE(stop.createEvent());
    stop.closeEvent();
    const UniqueHandle other(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    ::SwitchToThread();
    EXPECT_FALSE(signalled(other.get()));
  }
  done = true;
  for (std::thread& requester : requesters) requester.join();
}

}  // namespace
}  // namespace korvel

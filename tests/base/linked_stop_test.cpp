#include "base/linked_stop.h"

#include <gtest/gtest.h>

namespace korvel {
namespace {

TEST(LinkedStop, StopsWithTheOuterOne) {
  StopSource outer;
  const LinkedStop inner(outer.get_token());
  EXPECT_FALSE(inner.token().stop_requested());
  outer.request_stop();
  EXPECT_TRUE(inner.token().stop_requested());
}

TEST(LinkedStop, StopsAloneAndLeavesTheOuterOneAlone) {
  StopSource outer;
  LinkedStop inner(outer.get_token());
  inner.request();
  EXPECT_TRUE(inner.token().stop_requested());
  EXPECT_FALSE(outer.stop_requested());
}

TEST(LinkedStop, InsideAStopFromBeforeIsStoppedFromTheStart) {
  StopSource outer;
  outer.request_stop();
  EXPECT_TRUE(LinkedStop(outer.get_token()).token().stop_requested());
}

TEST(LinkedStop, ItsTokenOutlivesIt) {
  StopSource outer;
  StopToken token;
  {
    LinkedStop inner(outer.get_token());
    token = inner.token();
    inner.request();
  }
  EXPECT_TRUE(token.stop_requested());
}

}  // namespace
}  // namespace korvel

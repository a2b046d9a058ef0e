#include "service/runtime/engine_slot.h"

#include <gtest/gtest.h>

namespace korvel::svc {
namespace {

TEST(EngineSlot, HoldsWhatItWasGiven) {
  EXPECT_EQ(engineInSlot(), nullptr);
  int somewhere = 0;
  auto* engine = reinterpret_cast<ScanWorker*>(&somewhere);  // the slot never looks behind the pointer
  setEngineInSlot(engine);
  EXPECT_EQ(engineInSlot(), engine);
  setEngineInSlot(nullptr);
  EXPECT_EQ(engineInSlot(), nullptr);
}

}  // namespace
}  // namespace korvel::svc

// Every way in which the engine can fail to come up, and what is left afterwards: nothing.
#include "service/engine_host.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "engine/scan_worker.h"
#include "service/runtime/engine_slot.h"
#include "service/runtime/log.h"
#include "service/runtime/stop_signal.h"
#include "support/log_lines.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

using Lines = std::vector<std::string>;

class EngineHost : public testing::Test {
 protected:
  void SetUp() override {
    ScanWorker::script() = {};
    StopSignal::process() = {};
    Log::instance().open(folder_.at(L"korvel.log"));
  }
  void TearDown() override {
    engineStop();
    Log::instance().open(folder_.path());  // a folder: only lets go of the file
  }

  static ScanWorker::Script& engine() { return ScanWorker::script(); }
  static bool eventExists() { return StopSignal::process().exists; }
  Lines log() const { return test::untimedLines(test::readFile(folder_.at(L"korvel.log"))); }

  /// Starts, expects the failure and that nothing is left of the attempt.
  std::string failure() {
    std::string error = "(none)";
    EXPECT_FALSE(engineStart(&error));
    EXPECT_EQ(engineInSlot(), nullptr);
    EXPECT_FALSE(eventExists());
    return error;
  }

  test::TempFolder folder_;
};

TEST_F(EngineHost, StartsTheEngineStepByStep) {
  engine().init = [](std::string*) {
    EXPECT_TRUE(eventExists());
    EXPECT_NE(engineInSlot(), nullptr);
    return true;
  };
  std::string error = "(none)";
  ASSERT_TRUE(engineStart(&error));
  EXPECT_EQ(error, "(none)");
  EXPECT_NE(engineInSlot(), nullptr);
  EXPECT_TRUE(eventExists());
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker", "[INF] engine: worker initialised",
                          "[INF] engine: started"}));
}

TEST_F(EngineHost, StopsAndDestroysTheEngineThenClosesTheEvent) {
  ASSERT_TRUE(engineStart(nullptr));
  engine().stop = [] {
    EXPECT_NE(engineInSlot(), nullptr);
    EXPECT_TRUE(eventExists());
  };
  engine().destroy = [] {
    EXPECT_EQ(engineInSlot(), nullptr);
    EXPECT_TRUE(eventExists());
  };
  engineStop();
  EXPECT_EQ(engineInSlot(), nullptr);
  EXPECT_FALSE(eventExists());
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start", "stop", "destroy"}));
}

TEST_F(EngineHost, StoppingWithoutAnEngineClosesTheEvent) {
  ASSERT_TRUE(StopSignal::process().createEvent());
  engineStop();
  EXPECT_FALSE(eventExists());
  engineStop();
  EXPECT_EQ(engine().steps, Lines{});
}

TEST_F(EngineHost, StartsAgainAfterAStop) {
  ASSERT_TRUE(engineStart(nullptr));
  engineStop();
  ASSERT_TRUE(engineStart(nullptr));
  EXPECT_NE(engineInSlot(), nullptr);
  EXPECT_TRUE(eventExists());
}

TEST_F(EngineHost, WithoutAStopEventThereIsNoEngine) {
  StopSignal::process().refuses = true;
  EXPECT_EQ(failure(), "CreateEvent failed");
  EXPECT_EQ(engine().steps, Lines{});
  EXPECT_EQ(log(), Lines{});
}

TEST_F(EngineHost, AConstructorThatThrowsIsCalledOutOfMemory) {
  engine().construct = [] { throw std::runtime_error("no room"); };
  EXPECT_EQ(failure(), "out of memory: no room");
  EXPECT_EQ(engine().steps, Lines{"construct"});
  EXPECT_EQ(log(), Lines{});
}

TEST_F(EngineHost, AFailedInitIsLoggedWithItsReason) {
  engine().init = [](std::string* error) {
    *error = "cannot create quarantine dir: C:\\Карантин";
    return false;
  };
  EXPECT_EQ(failure(), "cannot create quarantine dir: C:\\Карантин");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "destroy"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker",
                          "[ERR] engine: init failed: cannot create quarantine dir: C:\\Карантин"}));
}

TEST_F(EngineHost, AFailedStartIsLoggedWithItsReason) {
  engine().start = [](std::string* error) {
    *error = "no threads";
    return false;
  };
  engine().destroy = [] { EXPECT_EQ(engineInSlot(), nullptr); };
  EXPECT_EQ(failure(), "no threads");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start", "destroy"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker", "[INF] engine: worker initialised",
                          "[ERR] engine: start failed: no threads"}));
}

TEST_F(EngineHost, AFailureWithoutAReasonHasAnEmptyOne) {
  engine().start = [](std::string*) { return false; };
  EXPECT_EQ(failure(), "");
  EXPECT_EQ(log().back(), "[ERR] engine: start failed: ");
}

TEST_F(EngineHost, AnExceptionOfInitIsTheWorkers) {
  engine().init = [](std::string* error) -> bool {
    *error = "half a reason";
    throw std::invalid_argument("invalid stoul argument");
  };
  engine().destroy = [] { EXPECT_EQ(engineInSlot(), nullptr); };
  EXPECT_EQ(failure(), "worker threw: invalid stoul argument");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "destroy"}));
  EXPECT_EQ(log(),
            (Lines{"[INF] engine: creating worker", "[ERR] engine: worker threw: invalid stoul argument"}));
}

TEST_F(EngineHost, AnExceptionOfStartIsTheWorkers) {
  engine().start = [](std::string*) -> bool { throw std::runtime_error("no more threads"); };
  EXPECT_EQ(failure(), "worker threw: no more threads");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start", "destroy"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker", "[INF] engine: worker initialised",
                          "[ERR] engine: worker threw: no more threads"}));
}

TEST_F(EngineHost, EveryFailureLivesWithoutAPlaceForItsText) {
  StopSignal::process().refuses = true;
  EXPECT_FALSE(engineStart(nullptr));
  StopSignal::process().refuses = false;
  engine().init = [](std::string* error) {
    EXPECT_NE(error, nullptr);
    return false;
  };
  EXPECT_FALSE(engineStart(nullptr));
  engine().init = [](std::string*) -> bool { throw std::bad_alloc(); };
  EXPECT_FALSE(engineStart(nullptr));
  engine().construct = [] { throw std::bad_alloc(); };
  EXPECT_FALSE(engineStart(nullptr));
  EXPECT_FALSE(eventExists());
}

}  // namespace
}  // namespace korvel::svc

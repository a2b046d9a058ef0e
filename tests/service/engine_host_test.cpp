// Every way in which the engine can fail to start; nothing may be left afterwards.
#include "service/engine_host.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

#include "runtime/log.h"
#include "support/log_lines.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

using Lines = std::vector<std::string>;

/// The steps that the host takes, noted in order, each of which fails the way the test has set.
class ScriptedEngine {
 public:
  /// What the next steps do; the first is the constructor. They may throw.
  struct Script {
    std::function<void()> construct = [] {};
    std::function<bool(std::string*)> init = [](std::string*) { return true; };
    std::function<bool(std::string*)> start = [](std::string*) { return true; };
    std::function<void()> stop = [] {};
    std::function<void()> destroy = [] {};
    std::vector<std::string> steps;
  };
  static Script& script() {
    static Script script;
    return script;
  }

  ScriptedEngine() {
    script().steps.emplace_back("construct");
    script().construct();
  }
  ~ScriptedEngine() {
    script().steps.emplace_back("destroy");
    script().destroy();
  }
  ScriptedEngine(const ScriptedEngine&) = delete;
  ScriptedEngine& operator=(const ScriptedEngine&) = delete;
  bool init(std::string* error) {
    script().steps.emplace_back("init");
    return script().init(error);
  }
  bool start(std::string* error) {
    script().steps.emplace_back("start");
    return script().start(error);
  }
  void stop() {
    script().steps.emplace_back("stop");
    script().stop();
  }
};

/// A stop whose event can be refused.
struct ScriptedStop {
  bool createEvent() { return exists = !refuses; }
  void closeEvent() { exists = false; }

  bool refuses = false;
  bool exists = false;
};

ScriptedStop stopSignal;
korvel::svc::EngineHost<ScriptedEngine, ScriptedStop> host(stopSignal);

bool engineStart(std::string* error) { return host.start(error); }
void engineStop() { host.stop(); }
const ScriptedEngine* runningEngine() { return host.engine(); }

class EngineHostTest : public testing::Test {
 protected:
  void SetUp() override {
    ScriptedEngine::script() = {};
    stopSignal = {};
    Log::instance().open(folder_.at(L"korvel.log"));
  }
  void TearDown() override {
    engineStop();
    Log::instance().open(folder_.path());  // a folder: this only closes the file
  }

  static ScriptedEngine::Script& engine() { return ScriptedEngine::script(); }
  static bool eventExists() { return stopSignal.exists; }
  Lines log() const { return test::untimedLines(test::readFile(folder_.at(L"korvel.log"))); }

  /// Starts, expects the failure and that nothing is left of the attempt.
  std::string failure() {
    std::string error = "(none)";
    EXPECT_FALSE(engineStart(&error));
    EXPECT_EQ(runningEngine(), nullptr);
    EXPECT_FALSE(eventExists());
    return error;
  }

  test::TempFolder folder_;
};

TEST_F(EngineHostTest, StartsTheEngineStepByStep) {
  engine().init = [](std::string*) {
    EXPECT_TRUE(eventExists());
    EXPECT_NE(runningEngine(), nullptr);
    return true;
  };
  std::string error = "(none)";
  ASSERT_TRUE(engineStart(&error));
  EXPECT_EQ(error, "(none)");
  EXPECT_NE(runningEngine(), nullptr);
  EXPECT_TRUE(eventExists());
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker", "[INF] engine: worker initialised",
                          "[INF] engine: started"}));
}

TEST_F(EngineHostTest, StopsAndDestroysTheEngineThenClosesTheEvent) {
  ASSERT_TRUE(engineStart(nullptr));
  engine().stop = [] {
    EXPECT_NE(runningEngine(), nullptr);
    EXPECT_TRUE(eventExists());
  };
  engine().destroy = [] {
    EXPECT_EQ(runningEngine(), nullptr);
    EXPECT_TRUE(eventExists());
  };
  engineStop();
  EXPECT_EQ(runningEngine(), nullptr);
  EXPECT_FALSE(eventExists());
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start", "stop", "destroy"}));
}

TEST_F(EngineHostTest, StoppingWithoutAnEngineClosesTheEvent) {
  ASSERT_TRUE(stopSignal.createEvent());
  engineStop();
  EXPECT_FALSE(eventExists());
  engineStop();
  EXPECT_EQ(engine().steps, Lines{});
}

TEST_F(EngineHostTest, StartsAgainAfterAStop) {
  ASSERT_TRUE(engineStart(nullptr));
  engineStop();
  ASSERT_TRUE(engineStart(nullptr));
  EXPECT_NE(runningEngine(), nullptr);
  EXPECT_TRUE(eventExists());
}

TEST_F(EngineHostTest, WithoutAStopEventThereIsNoEngine) {
  stopSignal.refuses = true;
  EXPECT_EQ(failure(), "CreateEvent failed");
  EXPECT_EQ(engine().steps, Lines{});
  EXPECT_EQ(log(), Lines{});
}

TEST_F(EngineHostTest, AConstructorThatThrowsIsCalledOutOfMemory) {
  engine().construct = [] { throw std::runtime_error("no room"); };
  EXPECT_EQ(failure(), "out of memory: no room");
  EXPECT_EQ(engine().steps, Lines{"construct"});
  EXPECT_EQ(log(), Lines{});
}

TEST_F(EngineHostTest, AFailedInitIsLoggedWithItsReason) {
  engine().init = [](std::string* error) {
    *error = "cannot create quarantine dir: C:\\Карантин";
    return false;
  };
  EXPECT_EQ(failure(), "cannot create quarantine dir: C:\\Карантин");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "destroy"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker",
                          "[ERR] engine: init failed: cannot create quarantine dir: C:\\Карантин"}));
}

TEST_F(EngineHostTest, AFailedStartIsLoggedWithItsReason) {
  engine().start = [](std::string* error) {
    *error = "no threads";
    return false;
  };
  engine().destroy = [] { EXPECT_EQ(runningEngine(), nullptr); };
  EXPECT_EQ(failure(), "no threads");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start", "destroy"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker", "[INF] engine: worker initialised",
                          "[ERR] engine: start failed: no threads"}));
}

TEST_F(EngineHostTest, AFailureWithoutAReasonHasAnEmptyOne) {
  engine().start = [](std::string*) { return false; };
  EXPECT_EQ(failure(), "");
  EXPECT_EQ(log().back(), "[ERR] engine: start failed: ");
}

TEST_F(EngineHostTest, AnExceptionOfInitIsTheWorkers) {
  engine().init = [](std::string* error) -> bool {
    *error = "half a reason";
    throw std::invalid_argument("invalid stoul argument");
  };
  engine().destroy = [] { EXPECT_EQ(runningEngine(), nullptr); };
  EXPECT_EQ(failure(), "worker threw: invalid stoul argument");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "destroy"}));
  EXPECT_EQ(log(),
            (Lines{"[INF] engine: creating worker", "[ERR] engine: worker threw: invalid stoul argument"}));
}

TEST_F(EngineHostTest, AnExceptionOfStartIsTheWorkers) {
  engine().start = [](std::string*) -> bool { throw std::runtime_error("no more threads"); };
  EXPECT_EQ(failure(), "worker threw: no more threads");
  EXPECT_EQ(engine().steps, (Lines{"construct", "init", "start", "destroy"}));
  EXPECT_EQ(log(), (Lines{"[INF] engine: creating worker", "[INF] engine: worker initialised",
                          "[ERR] engine: worker threw: no more threads"}));
}

TEST_F(EngineHostTest, EveryFailureLivesWithoutAPlaceForItsText) {
  stopSignal.refuses = true;
  EXPECT_FALSE(engineStart(nullptr));
  stopSignal.refuses = false;
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

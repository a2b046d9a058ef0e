// The life of a service run as the Service Control Manager sees it: every report with every field, in one
// transcript with the log lines and the steps between them.
#include "service/service_host.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "base/utf.h"
#include "runtime/log.h"
#include "support/log_lines.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

using Transcript = std::vector<std::string>;

// What the reports of each kind look like here; `n` is the check point.
std::string startPending(int n) {
  return "type 10 state 2 accepts 0 exit 0/0 point " + std::to_string(n) + " hint 30000";
}
std::string stopPending(int n) {
  return "type 10 state 3 accepts 0 exit 0/0 point " + std::to_string(n) + " hint 30000";
}
const std::string kRunning = "type 10 state 4 accepts 5 exit 0/0 point 0 hint 0";
const std::string kStopped = "type 10 state 1 accepts 5 exit 0/0 point 0 hint 0";
const std::string kFailed = "type 10 state 1 accepts 5 exit 1066/0 point 0 hint 0";

LPHANDLER_FUNCTION_EX handler() {
  return [](DWORD, DWORD, LPVOID, LPVOID) -> DWORD { return 0; };
}

class ServiceHostTest : public testing::Test {
 protected:
  void SetUp() override {
    current = this;
    Log::instance().open(logFile_);
  }
  void TearDown() override {
    Log::instance().open(folder_.path());  // a folder: this only closes the file
    current = nullptr;
  }

  void note(const std::string& entry) {
    takeLogLines();
    transcript_.push_back(entry);
  }
  /// What has happened since the last call.
  Transcript happened() {
    takeLogLines();
    return std::exchange(transcript_, {});
  }

  /// Runs with `during` in the place of the pipe server.
  void run(const std::function<void()>& during = [] {}) {
    serve_ = during;
    host_.run(handler());
  }

  // What the test decides.
  SERVICE_STATUS_HANDLE registered_ = reinterpret_cast<SERVICE_STATUS_HANDLE>(this);  // never dereferenced
  bool engineStarts_ = true;
  std::function<void()> whileStarting_ = [] {};
  std::function<void()> whileStopping_ = [] {};

  StopSignal stop_;
  ServiceHost host_{kCalls, stop_};

 private:
  void takeLogLines() {
    const std::vector<std::string> lines = test::untimedLines(test::readFile(logFile_));
    transcript_.insert(transcript_.end(), lines.begin() + static_cast<ptrdiff_t>(logLinesTaken_),
                       lines.end());
    logLinesTaken_ = lines.size();
  }

  static SERVICE_STATUS_HANDLE registerHandler(const wchar_t* name, LPHANDLER_FUNCTION_EX given) {
    EXPECT_NE(given, nullptr);
    current->note("register " + toUtf8(name));
    return current->registered_;
  }
  static BOOL setStatus(SERVICE_STATUS_HANDLE handle, SERVICE_STATUS* status) {
    EXPECT_EQ(handle, current->registered_);
    char text[128];
    std::snprintf(text, sizeof text, "type %lx state %lu accepts %lu exit %lu/%lu point %lu hint %lu",
                  status->dwServiceType, status->dwCurrentState, status->dwControlsAccepted,
                  status->dwWin32ExitCode, status->dwServiceSpecificExitCode, status->dwCheckPoint,
                  status->dwWaitHint);
    current->note(text);
    return TRUE;
  }
  static bool engineStart(std::string* error) {
    current->note("engine start");
    current->whileStarting_();
    if (!current->engineStarts_) *error = "the reason";
    return current->engineStarts_;
  }
  static void engineStop() {
    current->note("engine stop");
    current->whileStopping_();
  }
  static void servePipe() {
    current->note("serve");
    current->serve_();
  }
  static constexpr ServiceSystem kCalls{.registerHandler = registerHandler,
                                        .setStatus = setStatus,
                                        .startDispatcher = nullptr,
                                        .engineStart = engineStart,
                                        .engineStop = engineStop,
                                        .servePipe = servePipe};

  static inline ServiceHostTest* current = nullptr;

  test::TempFolder folder_;
  std::wstring logFile_ = folder_.at(L"korvel.log");
  size_t logLinesTaken_ = 0;
  Transcript transcript_;
  std::function<void()> serve_;
};

TEST_F(ServiceHostTest, GoesFromStartPendingToStopped) {
  run();
  EXPECT_EQ(happened(),
            (Transcript{"register KorvelService", startPending(1), "[INF] KORVEL Antivirus: initialising",
                        "engine start", kRunning, "[INF] KORVEL Antivirus: running", "serve", stopPending(1),
                        "engine stop", kStopped}));
}

TEST_F(ServiceHostTest, WithoutAHandlerNothingIsReportedLoggedOrStarted) {
  registered_ = nullptr;
  run();
  EXPECT_EQ(happened(), Transcript{"register KorvelService"});
}

TEST_F(ServiceHostTest, AnEngineThatCannotStartIsReportedAs1066WithCode0) {
  engineStarts_ = false;
  run();
  EXPECT_EQ(happened(),
            (Transcript{"register KorvelService", startPending(1), "[INF] KORVEL Antivirus: initialising",
                        "engine start", "[ERR] startup failed: the reason", kFailed}));
}

TEST_F(ServiceHostTest, AStopIsReportedTwiceAsPending) {
  ASSERT_TRUE(stop_.createEvent());
  run([this] {
    happened();
    EXPECT_EQ(host_.control(SERVICE_CONTROL_STOP), 0u);
    EXPECT_EQ(happened(), (Transcript{"[INF] KORVEL Antivirus: stop requested", stopPending(1)}));
    EXPECT_TRUE(stop_.requested());
    EXPECT_EQ(::WaitForSingleObject(stop_.event(), 0), DWORD{WAIT_OBJECT_0});
  });
  EXPECT_EQ(happened(), (Transcript{stopPending(2), "engine stop", kStopped}));
}

TEST_F(ServiceHostTest, AShutdownIsAStop) {
  ASSERT_TRUE(stop_.createEvent());
  run([this] {
    happened();
    EXPECT_EQ(host_.control(SERVICE_CONTROL_SHUTDOWN), 0u);
    EXPECT_EQ(happened(), (Transcript{"[INF] KORVEL Antivirus: stop requested", stopPending(1)}));
    EXPECT_TRUE(stop_.requested());
    EXPECT_EQ(::WaitForSingleObject(stop_.event(), 0), DWORD{WAIT_OBJECT_0});
  });
  EXPECT_EQ(happened(), (Transcript{stopPending(2), "engine stop", kStopped}));
}

TEST_F(ServiceHostTest, AStopDuringTheStartLetsItFinishAndReportRunning) {
  whileStarting_ = [this] { EXPECT_EQ(host_.control(SERVICE_CONTROL_STOP), 0u); };
  run([this] { EXPECT_TRUE(stop_.requested()); });
  EXPECT_EQ(
      happened(),
      (Transcript{"register KorvelService", startPending(1), "[INF] KORVEL Antivirus: initialising",
                  "engine start", "[INF] KORVEL Antivirus: stop requested", stopPending(2), kRunning,
                  "[INF] KORVEL Antivirus: running", "serve", stopPending(1), "engine stop", kStopped}));
}

TEST_F(ServiceHostTest, AStopDuringAFailingStartEndsAsTheFailure) {
  engineStarts_ = false;
  whileStarting_ = [this] { EXPECT_EQ(host_.control(SERVICE_CONTROL_STOP), 0u); };
  run();
  EXPECT_EQ(happened(),
            (Transcript{"register KorvelService", startPending(1), "[INF] KORVEL Antivirus: initialising",
                        "engine start", "[INF] KORVEL Antivirus: stop requested", stopPending(2),
                        "[ERR] startup failed: the reason", kFailed}));
}

TEST_F(ServiceHostTest, AStopWithoutRegistrationIsLoggedAndRequestedButNotReported) {
  EXPECT_EQ(host_.control(SERVICE_CONTROL_STOP), 0u);
  EXPECT_EQ(happened(), Transcript{"[INF] KORVEL Antivirus: stop requested"});
  EXPECT_TRUE(stop_.requested());
}

TEST_F(ServiceHostTest, AnInterrogationWithoutRegistrationIsAnsweredWithoutAReport) {
  EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
  EXPECT_EQ(happened(), Transcript{});
  EXPECT_FALSE(stop_.requested());
}

TEST_F(ServiceHostTest, AnInterrogationWhileStartingRaisesTheCheckPoint) {
  whileStarting_ = [this] {
    happened();
    EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
    EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
    EXPECT_EQ(happened(), (Transcript{"type 10 state 2 accepts 0 exit 0/0 point 2 hint 0",
                                      "type 10 state 2 accepts 0 exit 0/0 point 3 hint 0"}));
  };
  run();
  EXPECT_EQ(happened().front(), kRunning);
}

TEST_F(ServiceHostTest, AnInterrogationWhileRunningAcceptsTheStopAndHasNoCheckPoint) {
  run([this] {
    happened();
    EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
    EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
    EXPECT_EQ(happened(), (Transcript{kRunning, kRunning}));
    EXPECT_FALSE(stop_.requested());
  });
}

TEST_F(ServiceHostTest, AnInterrogationWhileStoppingRaisesTheCheckPoint) {
  whileStopping_ = [this] {
    happened();
    EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
    EXPECT_EQ(happened(), (Transcript{"type 10 state 3 accepts 0 exit 0/0 point 2 hint 0"}));
  };
  run();
  EXPECT_EQ(happened(), Transcript{kStopped});
}

TEST_F(ServiceHostTest, AnInterrogationAfterTheEndReportsStopped) {
  run();
  happened();
  EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
  EXPECT_EQ(happened(), Transcript{kStopped});
}

TEST_F(ServiceHostTest, AnInterrogationAfterAFailedStartClearsTheExitCode) {
  engineStarts_ = false;
  run();
  happened();
  EXPECT_EQ(host_.control(SERVICE_CONTROL_INTERROGATE), 0u);
  EXPECT_EQ(happened(), Transcript{kStopped});
}

TEST_F(ServiceHostTest, EveryOtherControlIsNotImplementedAndDoesNothing) {
  run([this] {
    happened();
    for (DWORD control = 0; control <= 256; ++control) {
      if (control == SERVICE_CONTROL_STOP || control == SERVICE_CONTROL_SHUTDOWN ||
          control == SERVICE_CONTROL_INTERROGATE) {
        continue;
      }
      EXPECT_EQ(host_.control(control), 120u) << control;
    }
    EXPECT_EQ(host_.control(UINT32_MAX), 120u);
    EXPECT_EQ(happened(), Transcript{});
    EXPECT_FALSE(stop_.requested());
  });
}

}  // namespace
}  // namespace korvel::svc

#include "service/console_control.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "base/paths.h"
#include "base/unique_resource.h"
#include "e2e/child_process.h"

namespace korvel::svc {
namespace {

constexpr DWORD kRequestingEvents[] = {CTRL_C_EVENT, CTRL_BREAK_EVENT, CTRL_CLOSE_EVENT};

/// A thread that has ended, for events that need not wait.
class EndedThread {
 public:
  EndedThread()
      : thread_(::CreateThread(
            nullptr, 0, [](void*) -> DWORD { return 0; }, nullptr, 0, nullptr)) {
    ::WaitForSingleObject(thread_.get(), INFINITE);
  }
  HANDLE get() const { return thread_.get(); }

 private:
  UniqueHandle thread_;
};

TEST(ConsoleControl, TheEventsHaveTheNumbersOfTheSystem) {
  EXPECT_EQ(kRequestingEvents[0], 0u);
  EXPECT_EQ(kRequestingEvents[1], 1u);
  EXPECT_EQ(kRequestingEvents[2], 2u);
}

TEST(ConsoleControl, CtrlCCtrlBreakAndCloseSetTheFlagAndSignalTheEvent) {
  const EndedThread ended;
  for (const DWORD type : kRequestingEvents) {
    StopSignal stop;
    ASSERT_TRUE(stop.createEvent());
    EXPECT_EQ(handleConsoleControl(type, stop, ended.get()), TRUE) << type;
    EXPECT_TRUE(stop.requested()) << type;
    EXPECT_EQ(::WaitForSingleObject(stop.event(), 0), DWORD{WAIT_OBJECT_0}) << type;
  }
}

TEST(ConsoleControl, CtrlCCtrlBreakAndCloseSetTheFlagBeforeThereIsAnEvent) {
  const EndedThread ended;
  for (const DWORD type : kRequestingEvents) {
    StopSignal stop;
    EXPECT_EQ(handleConsoleControl(type, stop, ended.get()), TRUE) << type;
    EXPECT_TRUE(stop.requested()) << type;
    EXPECT_EQ(stop.event(), nullptr) << type;
  }
}

TEST(ConsoleControl, CtrlCCountsAlsoWhereTheStarterHasSwitchedItOff) {
  wchar_t self[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(/*module=*/nullptr, self, MAX_PATH);
  const std::wstring child = joinPath(parentDirectory(self), L"ctrl_c_child.exe");
  EXPECT_EQ(test::runToEnd(child, L"").exitCode, 0u);
}

TEST(ConsoleControl, EveryOtherEventIsLeftToTheSystem) {
  StopSignal stop;
  ASSERT_TRUE(stop.createEvent());
  for (const DWORD type : {DWORD{3}, DWORD{4}, DWORD{CTRL_LOGOFF_EVENT}, DWORD{CTRL_SHUTDOWN_EVENT}, DWORD{7},
                           DWORD{UINT32_MAX}}) {
    EXPECT_EQ(handleConsoleControl(type, stop, /*mainThread=*/nullptr), FALSE) << type;
  }
  EXPECT_FALSE(stop.requested());
  EXPECT_EQ(::WaitForSingleObject(stop.event(), 0), DWORD{WAIT_TIMEOUT});
}

// The system ends a process as soon as its handler has answered a closing console.
TEST(ConsoleControl, ACloseIsAnsweredOnceTheMainThreadHasStoppedCleanly) {
  struct Main {
    StopSignal stop;
    std::atomic<bool> stoppedCleanly{false};
  } process;
  ASSERT_TRUE(process.stop.createEvent());
  const auto mainThread = [](void* context) -> DWORD {
    auto& self = *static_cast<Main*>(context);
    ::WaitForSingleObject(self.stop.event(), INFINITE);
    ::Sleep(100);  // what a clean stop takes
    self.stoppedCleanly = true;
    return 0;
  };
  const UniqueHandle thread(::CreateThread(nullptr, 0, mainThread, &process, 0, nullptr));
  ASSERT_TRUE(thread);
  EXPECT_EQ(handleConsoleControl(CTRL_CLOSE_EVENT, process.stop, thread.get()), TRUE);
  EXPECT_TRUE(process.stoppedCleanly);
  ::WaitForSingleObject(thread.get(), INFINITE);
}

// The thread given is this one, so a wait would never end.
TEST(ConsoleControl, CtrlCAndCtrlBreakAreAnsweredWithoutWaiting) {
  StopSignal stop;
  EXPECT_EQ(handleConsoleControl(CTRL_C_EVENT, stop, ::GetCurrentThread()), TRUE);
  EXPECT_EQ(handleConsoleControl(CTRL_BREAK_EVENT, stop, ::GetCurrentThread()), TRUE);
}

}  // namespace
}  // namespace korvel::svc

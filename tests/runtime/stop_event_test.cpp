#include "runtime/stop_event.h"

#include <gtest/gtest.h>

#include <system_error>
#include <thread>

#include "support/import_patch.h"

namespace korvel {
namespace {

bool signalled(const StopEvent& event) { return ::WaitForSingleObject(event.handle(), 0) == WAIT_OBJECT_0; }

TEST(StopEvent, IsSignalledOnceTheStopIsRequestedAndStaysSo) {
  StopSource source;
  const StopEvent event(source.get_token());
  EXPECT_FALSE(event.requested());
  EXPECT_FALSE(signalled(event));
  source.request_stop();
  EXPECT_TRUE(event.requested());
  EXPECT_TRUE(signalled(event));
  EXPECT_TRUE(signalled(event));
}

HANDLE WINAPI failToCreate(SECURITY_ATTRIBUTES*, BOOL, BOOL, const wchar_t*) {
  ::SetLastError(ERROR_NO_SYSTEM_RESOURCES);
  return nullptr;
}

TEST(StopEvent, ThatCannotBeMadeThrowsTheCodeAndNoTextOfTheSystem) {
  const test::ImportPatch patch("CreateEventW", failToCreate);
  try {
    const StopEvent event{StopToken()};
    ADD_FAILURE() << "there is an event";
  } catch (const std::system_error& problem) {
    EXPECT_STREQ(problem.what(), "CreateEvent: win32=1450");
  }
}

TEST(StopEvent, OfAStopFromBeforeIsSignalledFromTheStart) {
  StopSource source;
  source.request_stop();
  const StopEvent event(source.get_token());
  EXPECT_TRUE(signalled(event));
  EXPECT_TRUE(event.sleep(INFINITE));
}

TEST(StopEvent, ASleepEndsWithTheStop) {
  StopSource source;
  const StopEvent event(source.get_token());
  EXPECT_FALSE(event.sleep(1));
  std::thread stopper([&source] {
    ::Sleep(50);
    source.request_stop();
  });
  EXPECT_TRUE(event.sleep(INFINITE));
  stopper.join();
}

}  // namespace
}  // namespace korvel

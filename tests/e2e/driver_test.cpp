// The running service and a minifilter driver that the test plays: a copy of the executable with the
// stand-in filter library (fltlib.dll) beside it.
#include "base/files.h"
#include "base/paths.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"
#include "support/fake_driver.h"

namespace korvel::test {
namespace {

constexpr wchar_t kFolder[] = L"C:\\korvel-driver-test";

/// The stand-in lies beside this test program.
std::wstring standIn() {
  wchar_t self[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, self, MAX_PATH);
  return joinPath(parentDirectory(self), L"fltlib.dll");
}

class Driver : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    wchar_t before[MAX_PATH] = {};
    if (::GetEnvironmentVariableW(L"KORVEL_SERVICE", before, MAX_PATH) != 0) before_ = before;
    const std::wstring copy = joinPath(kFolder, L"KorvelService.exe");
    createDirectories(kFolder);
    ASSERT_TRUE(::CopyFileW(serviceExecutable().c_str(), copy.c_str(), FALSE));
    ASSERT_TRUE(::CopyFileW(standIn().c_str(), joinPath(kFolder, L"fltlib.dll").c_str(), FALSE));
    ::_wputenv_s(L"KORVEL_SERVICE", copy.c_str());
  }
  void TearDown() override {
    if (driver_) driver_->unload();  // lets the service's link end
    ServiceTest::TearDown();
    ::_wputenv_s(L"KORVEL_SERVICE", before_.c_str());
    removeTree(kFolder);
  }
  void startWithDriver() {
    driver_.emplace();
    startService();
    ASSERT_TRUE(driver_->waitForService(10'000));
  }

  std::optional<FakeDriver> driver_;

 private:
  std::wstring before_;
};

TEST_F(Driver, WhenPresentProtectsThroughTheKernel) {
  startWithDriver();
  EXPECT_TRUE(logGets("[INF] minifilter connected, kernel protection active\n"));
  EXPECT_TRUE(status().minifilterConnected);
}

TEST_F(Driver, WhenAbsentIsOnlyANote) {
  startService();
  EXPECT_TRUE(
      logGets("[INF] minifilter unavailable (фильтр-драйвер недоступен (hr=0x80070002)), using userspace "
              "realtime\n"));
  EXPECT_FALSE(status().minifilterConnected);
}

TEST_F(Driver, HighSeverityIsBlockedAndBecomesAnEvent) {
  const std::wstring bad = folder().write(L"eicar.com", eicarText());
  startWithDriver();
  EXPECT_EQ(driver_->ask(bad, 1), false);
  const ipc::ProgressReply now = progress();
  ASSERT_EQ(now.events.size(), 1u);
  EXPECT_EQ(now.events[0].path, bad);
  EXPECT_EQ(status().minifilterHandled, 1u);
  EXPECT_TRUE(progress().events.empty());
}

TEST_F(Driver, MediumSeverityIsAllowedAndMakesNoEventThoughAScanListsIt) {
  const std::wstring medium = folder().write(L"Downloads\\tool.exe", "x");
  startWithDriver();
  EXPECT_EQ(driver_->ask(medium, 1), true);
  EXPECT_TRUE(progress().events.empty());
  scan({folder().path()});
  ASSERT_EQ(results().size(), 1u);
  EXPECT_EQ(results()[0].path, medium);
}

TEST_F(Driver, CleanAndMissingFilesAreAllowed) {
  const std::wstring clean = folder().write(L"clean.exe", "x");
  startWithDriver();
  EXPECT_EQ(driver_->ask(clean, 1), true);
  EXPECT_EQ(driver_->ask(folder().at(L"missing.exe"), 2), true);
  EXPECT_EQ(driver_->ask(std::wstring(512, L'x'), 3), true);
  EXPECT_EQ(status().minifilterHandled, 3u);
}

TEST_F(Driver, WithoutADatabaseEverythingIsAllowedAndKeepAlivesAnswered) {
  writeSettings("SignatureDb=C:\\missing.txt\n");
  const std::wstring bad = folder().write(L"invoice.pdf.exe", "x");
  startWithDriver();
  EXPECT_EQ(driver_->ask(bad, 1), true);
  DriverMessage keepAlive;
  keepAlive.type = 3;
  ASSERT_TRUE(driver_->send(keepAlive));
  const auto answer = driver_->receive(10'000);
  ASSERT_TRUE(answer);
  EXPECT_EQ((*answer)[32], 0);
}

TEST_F(Driver, ThatGoesAwayIsShownInTheStatus) {
  startWithDriver();
  ASSERT_TRUE(status().minifilterConnected);
  driver_->unload();
  bool connected = true;
  for (int i = 0; i < 200 && connected; ++i) {
    ::Sleep(20);
    connected = status().minifilterConnected;
  }
  EXPECT_FALSE(connected);
}

TEST_F(Driver, OneMoreMessageLetsTheServiceStop) {
  startWithDriver();
  EXPECT_EQ(reply(ipc::Opcode::kStopService), "");
  EXPECT_FALSE(service().waitForExit(500));  // the link waits for the driver's next message
  EXPECT_EQ(driver_->ask(folder().at(L"missing.exe"), 1), true);
  EXPECT_EQ(service().waitForExit(20'000), 0u);
}

}  // namespace
}  // namespace korvel::test

// The answers to a driver that the test plays; fltlib.dll beside this program is the stand-in.
#include "engine/driver_queries.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <thread>

#include "e2e/sample_files.h"
#include "engine/detections.h"
#include "engine/settings_in_force.h"
#include "engine/signatures_in_force.h"
#include "signatures/signature_database.h"
#include "support/eventually.h"
#include "support/fake_driver.h"
#include "support/temp_folder.h"

namespace korvel::svc {
namespace {

class DriverQueriesTest : public testing::Test {
 protected:
  void SetUp() override {
    signatures_.replace(std::make_shared<SignatureDatabase>());
    std::string error;
    ASSERT_TRUE(queries_.connect(&error)) << error;
    ASSERT_TRUE(driver_.waitForService(10'000));
  }
  void TearDown() override { driver_.unload(); }

  test::TempFolder folder_;
  SettingsInForce settings_{[](const SettingsFields&) {}};
  SignaturesInForce signatures_;
  Detections detections_;
  StopSource stop_;
  test::FakeDriver driver_;
  DriverQueries queries_{settings_, signatures_, detections_, stop_.get_token()};
};

TEST_F(DriverQueriesTest, AHarmfulFileIsBlockedUntilTheStopAndAllowedAfterIt) {
  const std::wstring bad = folder_.write(L"invoice.pdf.exe", "x");
  EXPECT_EQ(driver_.ask(bad, 1), false);
  EXPECT_EQ(detections_.take().size(), 1u);
  stop_.request_stop();
  EXPECT_EQ(driver_.ask(bad, 2), true);
  EXPECT_TRUE(detections_.take().empty());
}

TEST_F(DriverQueriesTest, TheQueryInHandAtAStopIsAbandonedAndAllowed) {
  const std::wstring large = folder_.at(L"large.pdf.exe");
  test::writeLargeProgram(large);
  std::thread stopper([&] {
    EXPECT_TRUE(test::eventually([&] { return test::isBeingRead(large); }));
    stop_.request_stop();
  });
  // A look can come while the file is opened: then it is not read, and the query is asked once more.
  std::optional<bool> allowed;
  uint64_t id = 0;
  EXPECT_TRUE(test::eventually([&] {
    (void)detections_.take();
    allowed = driver_.ask(large, ++id);
    return stop_.stop_requested();
  }));
  stopper.join();
  EXPECT_EQ(allowed, true);
  EXPECT_TRUE(detections_.take().empty());
}

}  // namespace
}  // namespace korvel::svc

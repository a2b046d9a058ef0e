// What the driver is told when the judgement of its file ends with an exception.
#include <gtest/gtest.h>

#include "engine/engine_fixture.h"
#include "engine/hostile_image.h"
#include "support/allocation_meter.h"
#include "support/fake_driver.h"

namespace korvel::svc {
namespace {

class DriverFailuresTest : public test::EngineTest {
 protected:
  void TearDown() override {
    driver_.unload();  // lets the link end
    EngineTest::TearDown();
  }

  test::FakeDriver driver_;
};

TEST_F(DriverFailuresTest, AFileWhoseScanThrowsIsAllowedAndTheLinkGoesOn) {
  const std::wstring bad = folder_.write(L"invoice.pdf.exe", test::imageWithManySections());
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(driver_.waitForService(10'000));
  EXPECT_EQ(driver_.ask(bad, 1), false);
  EXPECT_EQ(worker.takeEvents().size(), 1u);
  {
    const test::AllocationLimit outOfMemory(test::kBlockLimitBytes);
    EXPECT_EQ(driver_.ask(bad, 2), true);
  }
  EXPECT_TRUE(worker.takeEvents().empty());
  EXPECT_EQ(driver_.ask(bad, 3), false);
  EXPECT_EQ(worker.getStatus().minifilterHandled, 3u);
  EXPECT_TRUE(worker.getStatus().minifilterConnected);
}

TEST_F(DriverFailuresTest, AQueryForWhosePathThereIsNoMemoryIsAllowedAndTheLinkGoesOn) {
  const std::wstring bad = folder_.write(L"invoice.pdf.exe", test::imageWithManySections());
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(driver_.waitForService(10'000));
  {
    using test::AllocationFault;
    const AllocationFault nothingLeft(1, AllocationFault::Times::kForEver, AllocationFault::Threads::kOthers);
    EXPECT_EQ(driver_.ask(bad, 1), true);
  }
  EXPECT_EQ(driver_.ask(bad, 2), false);
  EXPECT_EQ(worker.getStatus().minifilterHandled, 2u);
  EXPECT_TRUE(worker.getStatus().minifilterConnected);
}

}  // namespace
}  // namespace korvel::svc

// Requested updates against a server that is slow to answer.
#include <gtest/gtest.h>

#include "engine/engine_fixture.h"
#include "support/silent_server.h"

namespace korvel::svc {
namespace {

class UpdateJobsTest : public test::EngineTest {
 protected:
  test::SilentServer server_;
};

TEST_F(UpdateJobsTest, ASecondUpdateCheckIsRefusedUntilTheFirstHasEnded) {
  settings_.updateServer = server_.url();
  ScanWorker& worker = startWorker();
  std::string error;
  ASSERT_TRUE(worker.startUpdateCheck(&error)) << error;
  ASSERT_TRUE(server_.takeClient());
  EXPECT_FALSE(worker.startUpdateCheck(&error));
  EXPECT_EQ(error, "обновление уже выполняется");
  EXPECT_TRUE(worker.getStatus().updateCheckRunning);

  server_.answer("no release");
  EXPECT_TRUE(test::eventually([&] { return !worker.getStatus().updateCheckRunning; }));
  EXPECT_TRUE(worker.startUpdateCheck(&error)) << error;
  EXPECT_TRUE(server_.takeClient());
}

TEST_F(UpdateJobsTest, AnUpdateCheckAndALiveUpdateDoNotRefuseEachOther) {
  settings_.updateServer = server_.url();
  ScanWorker& worker = startWorker();
  std::string error;
  EXPECT_TRUE(worker.startUpdateCheck(&error)) << error;
  EXPECT_TRUE(worker.startLiveUpdate(&error)) << error;
  EXPECT_FALSE(worker.startLiveUpdate(&error));
  EXPECT_EQ(error, "обновление уже выполняется");
  EXPECT_TRUE(worker.getStatus().updateCheckRunning);
  EXPECT_TRUE(worker.getStatus().liveUpdateRunning);
}

}  // namespace
}  // namespace korvel::svc

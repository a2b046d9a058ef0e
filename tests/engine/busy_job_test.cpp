#include "engine/busy_job.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

namespace korvel::svc {
namespace {

const auto nothing = [] {};

TEST(BusyJob, ASecondLaunchWhileTheFirstRunsIsRefused) {
  BusyJob job;
  std::promise<void> release;
  std::string error;
  ASSERT_TRUE(job.launch(
      nothing, [&release](std::string*) { return release.get_future().wait(), true; }, &error));
  EXPECT_TRUE(job.busy());
  bool prepared = false;
  EXPECT_FALSE(job.launch([&prepared] { prepared = true; }, [](std::string*) { return true; }, &error));
  EXPECT_EQ(error, "обновление уже выполняется");
  EXPECT_FALSE(prepared);
  release.set_value();
  job.join();
  EXPECT_FALSE(job.busy());
}

TEST(BusyJob, AFailureTextStaysUntilTheNextLaunch) {
  BusyJob job;
  ASSERT_TRUE(job.launch(
      nothing, [](std::string* error) { return *error = "no network", false; }, nullptr));
  job.join();
  EXPECT_EQ(job.lastError(), "no network");
  EXPECT_FALSE(job.busy());
  ASSERT_TRUE(
      job.launch([&job] { EXPECT_EQ(job.lastError(), ""); }, [](std::string*) { return true; }, nullptr));
  job.join();
  EXPECT_EQ(job.lastError(), "");
}

TEST(BusyJob, AnExceptionCountsAsAFailureWithItsText) {
  BusyJob job;
  ASSERT_TRUE(job.launch(
      nothing, [](std::string*) -> bool { throw std::runtime_error("thrown"); }, nullptr));
  job.join();
  EXPECT_EQ(job.lastError(), "thrown");
  EXPECT_FALSE(job.busy());
}

TEST(BusyJob, ATextLeftByASuccessfulJobIsNotAFailure) {
  BusyJob job;
  ASSERT_TRUE(job.launch(
      nothing, [](std::string* error) { return *error = "ignored", true; }, nullptr));
  job.join();
  EXPECT_EQ(job.lastError(), "");
}

TEST(BusyJob, APreparationThatThrowsLeavesItFree) {
  BusyJob job;
  EXPECT_THROW(job.launch([] { throw std::runtime_error("no"); }, [](std::string*) { return true; }, nullptr),
               std::runtime_error);
  EXPECT_FALSE(job.busy());
}

}  // namespace
}  // namespace korvel::svc

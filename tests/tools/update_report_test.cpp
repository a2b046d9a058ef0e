#include "korvelctl/update_report.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

using Json = nlohmann::ordered_json;

EngineStatus idle() {
  EngineStatus status;
  status.serviceVersion = "1.2.0";
  status.signatureCount = 12;
  status.signatureVersion = "live-20261121";
  return status;
}

TEST(UpdateReport, OfABegunUpdateSaysNoMore) {
  const UpdateReport report = startedReport("live update started");
  EXPECT_EQ(report.text, "live update started\n");
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.json, Json::parse(R"({"done": "live update started"})"));
}

TEST(UpdateReport, AMovedTimeIsASuccessfulLiveUpdate) {
  const UpdateReport report = signaturesReport(idle(), 100, 101);
  EXPECT_EQ(report.text, "signatures updated: 12 (live-20261121)\n");
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.json,
            Json::parse(R"({"updated": true, "signatures": 12, "signatureVersion": "live-20261121",
                                         "lastLiveUpdateUtc": 101})"));
}

TEST(UpdateReport, AClockThatWasSetBackDoesNotHideASuccess) {
  EXPECT_EQ(signaturesReport(idle(), 100, 99).failure, "");
}

TEST(UpdateReport, AnUnmovedTimeIsAFailedLiveUpdate) {
  const UpdateReport report = signaturesReport(idle(), 100, 100);
  EXPECT_EQ(report.text, "");
  EXPECT_EQ(
      report.failure,
      "the live update failed and the signatures stay as they were; the service does not tell clients why");
  EXPECT_EQ(report.json["updated"], false);
  EXPECT_EQ(report.json["lastLiveUpdateUtc"], 100);
}

TEST(UpdateReport, WithoutErrorAndInstallerTheProgramIsUpToDate) {
  const UpdateReport report = programReport(idle());
  EXPECT_EQ(report.text, "up to date: version 1.2.0\n");
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.json, Json::parse(R"({"upToDate": true, "installer": "", "error": ""})"));
}

TEST(UpdateReport, NamesTheSavedInstaller) {
  EngineStatus status = idle();
  status.updateCheckInstaller = "C:\\u\\Установка\n.exe";
  const UpdateReport report = programReport(status);
  EXPECT_TRUE(report.text.starts_with("installer saved: C:\\u\\Установка")) << report.text;
  EXPECT_EQ(report.text.find('\n'), report.text.size() - 1) << "a path cannot forge lines";
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.json["upToDate"], false);
  EXPECT_EQ(report.json["installer"], status.updateCheckInstaller);
}

TEST(UpdateReport, GivesTheReasonOfAFailedCheckAsTheServiceDoes) {
  EngineStatus status = idle();
  status.updateCheckError = "в releases.json нет секции windows";
  const UpdateReport report = programReport(status);
  EXPECT_EQ(report.failure, "the update check failed: в releases.json нет секции windows");
  EXPECT_EQ(report.text, "");
  EXPECT_EQ(report.json, Json::parse(R"({"upToDate": false, "installer": "",
                                         "error": "в releases.json нет секции windows"})"));
}

}  // namespace
}  // namespace korvel::ctl

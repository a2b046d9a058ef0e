#include "korvelctl/json_output.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace korvel::ctl {
namespace {

using Json = nlohmann::ordered_json;

TEST(JsonOutput, ThreatCarriesItsNumberReasonsAndLabels) {
  ThreatRecord threat;
  threat.path = L"C:\\ёж.exe";
  threat.name = "Двойное расширение";
  threat.code = "FS.DOUBLE_EXT";
  threat.severity = kSeverityHigh;
  threat.size = 5'000'000'000;
  threat.sha256 = "ab";
  threat.reasons = {{kSeverityHigh, "FS.DOUBLE_EXT", "t", "d"}};
  threat.labels = {"Двойное расширение"};
  EXPECT_EQ(threatsJson({threat, threat})[1],
            Json::parse(R"({"number": 2, "path": "C:\\ёж.exe", "name": "Двойное расширение",
                            "code": "FS.DOUBLE_EXT", "severity": "high", "size": 5000000000, "sha256": "ab",
                            "reasons": [{"severity": "high", "code": "FS.DOUBLE_EXT", "title": "t", "detail": "d"}],
                            "labels": ["Двойное расширение"]})"));
}

TEST(JsonOutput, EmptyListsAreArrays) {
  EXPECT_EQ(dumpJson(threatsJson({})), "[]\n");
  EXPECT_EQ(dumpJson(quarantineJson({})), "[]\n");
}

TEST(JsonOutput, QuarantineRecordKeepsItsWholeId) {
  QuarantineRecord record;
  record.id = UINT64_MAX;
  record.originalPath = L"C:\\a";
  record.storedPath = L"C:\\q\\1_a";
  record.threat = "T";
  record.code = "C";
  record.size = 1;
  record.time = 2;
  record.storedFileExists = true;
  EXPECT_EQ(quarantineJson({record})[0],
            Json::parse(R"({"id": 18446744073709551615, "originalPath": "C:\\a", "storedPath": "C:\\q\\1_a",
                            "threat": "T", "code": "C", "severity": "high", "size": 1, "time": 2,
                            "storedFileExists": true})"));
}

TEST(JsonOutput, ScanHoldsItsSummaryAndItsThreats) {
  const Json json = scanJson(L"cancelled",
                             {.filesScanned = 7,
                              .threats = 1,
                              .suspicious = 2,
                              .bytesScanned = 9,
                              .elapsedMs = 11,
                              .cancelled = true},
                             {ThreatRecord{}});
  EXPECT_EQ(json["state"], "cancelled");
  EXPECT_EQ(json["filesScanned"], 7);
  EXPECT_EQ(json["threatCount"], 1);
  EXPECT_EQ(json["suspiciousCount"], 2);
  EXPECT_EQ(json["bytesScanned"], 9);
  EXPECT_EQ(json["elapsedMs"], 11);
  EXPECT_EQ(json["threats"].size(), 1u);
}

TEST(JsonOutput, StatusHoldsEveryField) {
  EngineStatus status;
  status.serviceVersion = "1.2.0";
  status.minifilterHandled = 3;
  status.updateCheckError = "ошибка";
  const Json json = statusJson(status);
  EXPECT_EQ(json.size(), 12u);
  EXPECT_EQ(json["version"], "1.2.0");
  EXPECT_EQ(json["minifilterHandled"], 3);
  EXPECT_EQ(json["updateCheckError"], "ошибка");
}

TEST(JsonOutput, ShieldHoldsSwitchesAndTimes) {
  SettingsFields settings;
  settings.webShield = true;
  settings.liveUpdates = false;
  settings.lastLiveUpdateUtc = UINT64_MAX;
  EngineStatus status;
  status.signatureCount = 7;
  status.signatureVersion = "v";
  EXPECT_EQ(
      shieldJson(settings, status),
      Json::parse(R"({"webShield": true, "liveUpdates": false, "lastLiveUpdateUtc": 18446744073709551615,
                            "signatures": 7, "signatureVersion": "v"})"));
}

TEST(JsonOutput, MalformedBytesFromAFileDoNotBreakTheDocument) {
  ThreatRecord threat;
  threat.name =
      "a\xff"
      "b";
  const std::string text = dumpJson(threatsJson({threat}));
  EXPECT_EQ(Json::parse(text)[0]["name"], "a\uFFFDb");
}

}  // namespace
}  // namespace korvel::ctl

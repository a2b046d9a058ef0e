#include "korvelctl/settings_list.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace korvel::ctl {
namespace {

SettingsFields changed() {
  SettingsFields settings;
  settings.protectionEnabled = false;
  settings.scheduledHour = 23;
  settings.lastScanUtc = UINT64_MAX;
  settings.quarantineDir = L"D:\\Карантин";
  return settings;
}

TEST(SettingsList, NamesTheFifteenKeysThatTravelInTheirOrder) {
  EXPECT_EQ(settingKeys(),
            (std::vector<std::string>{"ProtectionEnabled", "RealTimeEnabled", "ScanArchives", "ScanRemovable",
                                      "ShowThreatModal", "QuarantineOnDetect", "ScheduledScan",
                                      "ScheduledHour", "LastScanUtc", "LastThreatCount", "SignatureDb",
                                      "QuarantineDir", "LiveUpdates", "LastLiveUpdateUtc", "WebShield"}));
}

TEST(SettingsList, WritesValuesAsTheSettingsFileDoes) {
  EXPECT_EQ(settingText(changed(), "ProtectionEnabled"), "0");
  EXPECT_EQ(settingText(changed(), "WebShield"), "1");
  EXPECT_EQ(settingText(changed(), "ScheduledHour"), "23");
  EXPECT_EQ(settingText(changed(), "LastScanUtc"), "18446744073709551615");
  EXPECT_EQ(settingText(changed(), "QuarantineDir"), "D:\\Карантин");
}

TEST(SettingsList, KnowsNoOtherKey) {
  EXPECT_EQ(settingText(changed(), "UpdateServer"), std::nullopt);
  EXPECT_EQ(settingText(changed(), "webshield"), std::nullopt);
  EXPECT_EQ(settingText(changed(), ""), std::nullopt);
}

TEST(SettingsList, HasOneLinePerKey) {
  const std::string text = renderSettings(changed());
  EXPECT_EQ(text.substr(0, text.find('\n') + 1), "ProtectionEnabled=0\n");
  EXPECT_NE(text.find("\nQuarantineDir=D:\\Карантин\n"), std::string::npos);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 15);
}

TEST(SettingsList, GivesJsonItsTypes) {
  const nlohmann::ordered_json json = settingsJson(changed());
  EXPECT_EQ(json.size(), 15u);
  EXPECT_EQ(json["ProtectionEnabled"], false);
  EXPECT_EQ(json["ScheduledHour"], 23);
  EXPECT_EQ(json["LastScanUtc"], UINT64_MAX);
  EXPECT_EQ(json["QuarantineDir"], "D:\\Карантин");
}

}  // namespace
}  // namespace korvel::ctl

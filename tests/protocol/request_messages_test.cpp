#include <gtest/gtest.h>

#include "protocol/decoder_checks.h"
#include "protocol/messages.h"
#include "protocol/wire.h"

namespace korvel::ipc {
namespace {

using test::expectExactLength;
using test::expectRefusedCheaply;
using test::text;
using test::u32;
using test::u64;

TEST(StartScanRequest, IsScopeCountAndPaths) {
  const StartScanRequest request{ScanScope::kCustom, {L"C:\\Тест", L""}};
  const std::string bytes = u32(3) + u32(2) + text("C:\\Тест") + text("");
  EXPECT_EQ(encodeStartScan(request), bytes);
  EXPECT_EQ(decodeStartScan(bytes), request);
  expectExactLength(bytes, decodeStartScan);
}

TEST(StartScanRequest, FewerThanEightBytesAreMalformed) {
  for (size_t length = 0; length < 8; ++length) EXPECT_FALSE(decodeStartScan(std::string(length, '\0')));
  EXPECT_TRUE(decodeStartScan(std::string(8, '\0')));
}

TEST(StartScanRequest, NoTargetsIsAValidList) {
  const auto request = decodeStartScan(u32(0) + u32(0));
  ASSERT_TRUE(request);
  EXPECT_EQ(request->scope, ScanScope::kQuick);
  EXPECT_TRUE(request->targets.empty());
}

TEST(StartScanRequest, CarriesAnyScopeNumber) {
  EXPECT_EQ(decodeStartScan(u32(4'000'000'000) + u32(0))->scope, static_cast<ScanScope>(4'000'000'000));
}

TEST(StartScanRequest, OneHundredThousandEmptyTargetsDecode) {
  const auto request = decodeStartScan(u32(0) + u32(100'000) + std::string(400'000, '\0'));
  ASSERT_TRUE(request);
  EXPECT_EQ(request->targets.size(), 100'000u);
}

TEST(StartScanRequest, OneTargetMoreIsMalformedBeforeAnyIsRead) {
  EXPECT_FALSE(decodeStartScan(u32(0) + u32(100'001) + std::string(400'004, '\0')));
  const test::AllocationMeter meter;
  EXPECT_FALSE(decodeStartScan(u32(0) + u32(100'001)));
  EXPECT_LE(meter.bytes(), 256u);
}

TEST(StartScanRequest, AnUnbackedCountCostsNoMemory) {
  expectRefusedCheaply(u32(0) + u32(100'000) + text("C:\\"), decodeStartScan);
  expectRefusedCheaply(u32(0) + u32(0xFFFFFFFF) + text("C:\\"), decodeStartScan);
}

ThreatDecisionRequest sampleDecision() {
  ThreatDecisionRequest request;
  request.action = kActionDelete;
  request.threat.path = L"C:\\Загрузки\\a.exe";
  request.threat.name = "Имя";
  request.threat.code = "FS.DOUBLE_EXT";
  request.threat.severity = kSeverityCritical;
  request.threat.size = 0x0102030405060708;
  request.threat.sha256 = "ab12";
  return request;
}

TEST(ThreatDecision, IsPathActionAndTheRestOfTheThreat) {
  const std::string bytes = text("C:\\Загрузки\\a.exe") + u32(2) + text("Имя") + text("FS.DOUBLE_EXT") +
                            u32(4) + u64(0x0102030405060708) + text("ab12");
  EXPECT_EQ(encodeThreatDecision(sampleDecision()), bytes);
  EXPECT_EQ(decodeThreatDecision(bytes), sampleDecision());
  expectExactLength(bytes, decodeThreatDecision);
}

TEST(ThreatDecision, CarriesAnyActionAndAnySeverity) {
  ThreatDecisionRequest request = sampleDecision();
  request.action = 3;
  request.threat.severity = -1;
  EXPECT_EQ(decodeThreatDecision(encodeThreatDecision(request)), request);
}

TEST(QuarantineId, IsOneU64) {
  EXPECT_EQ(encodeQuarantineId(0x0102030405060708), u64(0x0102030405060708));
  expectExactLength(u64(1'763'740'800'123), decodeQuarantineId);
  EXPECT_EQ(decodeQuarantineId(u64(1'763'740'800'123)), 1'763'740'800'123u);
}

/// Fifteen values, none of which is the default.
SettingsFields sampleSettings() {
  SettingsFields settings;
  settings.protectionEnabled = false;
  settings.realTimeEnabled = false;
  settings.scanArchives = true;
  settings.scanRemovable = true;
  settings.showThreatModal = false;
  settings.quarantineOnDetect = true;
  settings.scheduledScan = false;
  settings.scheduledHour = 23;
  settings.lastScanUtc = 0x1111111122222222;
  settings.lastThreatCount = 0x3333333344444444;
  settings.signatureDb = L"D:\\базы\\seed.txt";
  settings.quarantineDir = L"D:\\Карантин";
  settings.liveUpdates = false;
  settings.lastLiveUpdateUtc = 0x5555555566666666;
  settings.webShield = false;
  return settings;
}

std::string sampleSettingsBytes(uint32_t hour) {
  return u32(0) + u32(0) + u32(1) + u32(1) + u32(0) + u32(1) + u32(0) + u32(hour) + u64(0x1111111122222222) +
         u64(0x3333333344444444) + text("D:\\базы\\seed.txt") + text("D:\\Карантин") + u32(0) +
         u64(0x5555555566666666) + u32(0);
}

const auto decodeOverDefaults = [](const std::string& payload) {
  return decodeSettings(payload, SettingsFields());
};

TEST(SettingsRecord, IsFifteenFieldsInOrder) {
  EXPECT_EQ(encodeSettings(sampleSettings()), sampleSettingsBytes(23));
  EXPECT_EQ(decodeOverDefaults(sampleSettingsBytes(23)), sampleSettings());
}

TEST(SettingsRecord, EachFlagHasItsOwnPlace) {
  bool SettingsFields::*const flags[] = {
      &SettingsFields::protectionEnabled, &SettingsFields::realTimeEnabled,
      &SettingsFields::scanArchives,      &SettingsFields::scanRemovable,
      &SettingsFields::showThreatModal,   &SettingsFields::quarantineOnDetect,
      &SettingsFields::scheduledScan,     &SettingsFields::liveUpdates,
      &SettingsFields::webShield};
  for (bool SettingsFields::*flag : flags) {
    SettingsFields settings;
    settings.*flag = !(settings.*flag);
    EXPECT_EQ(decodeOverDefaults(encodeSettings(settings)), settings);
  }
}

TEST(SettingsRecord, CutAnywhereIsMalformedAlsoAfterFieldFourteen) {
  expectExactLength(sampleSettingsBytes(23), decodeOverDefaults);
  const std::string bytes = sampleSettingsBytes(23);
  EXPECT_FALSE(decodeOverDefaults(bytes.substr(0, bytes.size() - 4)));
}

TEST(SettingsRecord, HourIsTakenModuloTwentyFour) {
  EXPECT_EQ(decodeOverDefaults(sampleSettingsBytes(24))->scheduledHour, 0u);
  EXPECT_EQ(decodeOverDefaults(sampleSettingsBytes(30))->scheduledHour, 6u);
  EXPECT_EQ(decodeOverDefaults(sampleSettingsBytes(0xFFFFFFFF))->scheduledHour, 15u);
}

TEST(SettingsRecord, AnyNonZeroNumberTurnsAFlagOn) {
  std::string bytes = sampleSettingsBytes(1);
  bytes.replace(0, 4, u32(0x01000000));
  EXPECT_TRUE(decodeOverDefaults(bytes)->protectionEnabled);
}

TEST(SettingsRecord, UpdateServerDoesNotTravel) {
  SettingsFields settings = sampleSettings();
  settings.updateServer = "https://update.example";
  EXPECT_EQ(encodeSettings(settings), encodeSettings(sampleSettings()));
  EXPECT_EQ(decodeOverDefaults(encodeSettings(settings))->updateServer, "");
  EXPECT_EQ(decodeSettings(encodeSettings(settings), settings)->updateServer, "https://update.example");
}

TEST(SetConfig, APathThatNoLineCanHoldIsMalformed) {
  using namespace std::string_literals;
  std::wstring SettingsFields::*const paths[] = {&SettingsFields::signatureDb,
                                                 &SettingsFields::quarantineDir};
  for (std::wstring SettingsFields::*path : paths) {
    for (const std::wstring& bad : {L"C:\\a\nUpdateServer=http://evil"s, L"\n"s, L"C:\\a\0b"s, L"\0"s}) {
      SettingsFields settings = sampleSettings();
      settings.*path = bad;
      EXPECT_FALSE(decodeSetConfig(encodeSettings(settings)));
      EXPECT_EQ(decodeSettings(encodeSettings(settings)), settings) << "what the service says is understood";
    }
    SettingsFields settings = sampleSettings();
    settings.*path = L"C:\\a\r";
    EXPECT_EQ(decodeSetConfig(encodeSettings(settings)), settings) << "a carriage return stays";
  }
}

TEST(SetConfig, IsASettingsRecordOverTheDefaults) {
  EXPECT_EQ(decodeSetConfig(sampleSettingsBytes(30))->scheduledHour, 6u);
  EXPECT_EQ(decodeSetConfig(sampleSettingsBytes(23)), sampleSettings());
  expectExactLength(sampleSettingsBytes(23), decodeSetConfig);
}

TEST(TextMessage, IsOneString) {
  EXPECT_EQ(encodeText("текст"), text("текст"));
  EXPECT_EQ(decodeText(text("текст")), "текст");
  EXPECT_EQ(decodeText(text("")), "");
  expectExactLength(text("public,1"), decodeText);
  expectRefusedCheaply(u32(0xFFFFFFFF) + "public,1", decodeText);
}

}  // namespace
}  // namespace korvel::ipc

// What each request does and how it refuses nonsense.
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"
#include "protocol/payload.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

class Request : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    startService();
  }
};

TEST_F(Request, StatusTellsVersionSignaturesAndSwitches) {
  const EngineStatus now = status();
  EXPECT_EQ(now.serviceVersion, "1.2.0");
  EXPECT_EQ(now.signatureCount, 1u);
  EXPECT_EQ(now.signatureVersion, "e2e-1");
  EXPECT_TRUE(now.protectionEnabled);
  EXPECT_FALSE(now.realTimeActive);
  EXPECT_FALSE(now.minifilterConnected);
  EXPECT_FALSE(now.scanRunning);
}

TEST_F(Request, MalformedPayloadsAreRefusedByName) {
  EXPECT_EQ(refusal(Opcode::kStartScan), "malformed StartScan payload");
  EXPECT_EQ(refusal(Opcode::kStartScan, std::string(7, '\0')), "malformed StartScan payload");
  EXPECT_EQ(refusal(Opcode::kThreatDecision), "malformed ThreatDecision payload");
  EXPECT_EQ(refusal(Opcode::kDeleteQuarantined, std::string(7, '\0')), "malformed quarantine id");
  EXPECT_EQ(refusal(Opcode::kRestoreQuarantined), "malformed quarantine id");
  EXPECT_EQ(refusal(Opcode::kSetConfig), "malformed SetConfig payload");
  EXPECT_EQ(refusal(Opcode::kFirewallBlockInbound, "x"), "malformed firewall payload");
  EXPECT_TRUE(logGets("[WRN] request failed: malformed SetConfig payload\n"));
}

TEST_F(Request, StartScanTakesAHundredThousandTargetsAndNoMore) {
  ipc::PayloadWriter most;
  most.putU32(3);
  most.putU32(100'000);
  for (int i = 0; i < 100'000; ++i) most.putU32(0);
  EXPECT_EQ(reply(Opcode::kStartScan, most.bytes()), "");
  waitForScanEnd();
  ipc::PayloadWriter tooMany;
  tooMany.putU32(3);
  tooMany.putU32(100'001);
  EXPECT_EQ(refusal(Opcode::kStartScan, tooMany.bytes()), "malformed StartScan payload");
}

TEST_F(Request, SettingsCutBeforeTheirLastFieldAreRefused) {
  const std::string whole = ipc::encodeSettings(settings());
  EXPECT_EQ(refusal(Opcode::kSetConfig, whole.substr(0, whole.size() - 4)), "malformed SetConfig payload");
}

TEST_F(Request, SettingsComeBackAsTheyWereSetAndAreSaved) {
  SettingsFields changed = settings();
  changed.scheduledHour = 17;
  changed.scanArchives = true;
  EXPECT_EQ(reply(Opcode::kSetConfig, ipc::encodeSettings(changed)), "");
  EXPECT_EQ(settings(), changed);
  const std::string text = readFile(settingsPath());
  EXPECT_NE(text.find("\nScheduledHour=17\n"), std::string::npos);
  EXPECT_NE(text.find("\nScanArchives=1\n"), std::string::npos);
}

TEST_F(Request, AnHourBeyondTheDayWraps) {
  SettingsFields changed = settings();
  changed.scheduledHour = 30;
  reply(Opcode::kSetConfig, ipc::encodeSettings(changed));
  EXPECT_EQ(settings().scheduledHour, 6u);
}

TEST_F(Request, EmptyPathsKeepThoseInForce) {
  const SettingsFields before = settings();
  SettingsFields changed = before;
  changed.signatureDb.clear();
  changed.quarantineDir.clear();
  reply(Opcode::kSetConfig, ipc::encodeSettings(changed));
  EXPECT_EQ(settings(), before);
}

TEST_F(Request, SettingTheConfigurationEmptiesTheUpdateServer) {
  stopService();
  writeSettings("UpdateServer=http://127.0.0.1:9\n");
  startService();
  reply(Opcode::kSetConfig, ipc::encodeSettings(settings()));
  EXPECT_NE(readFile(settingsPath()).find("\nUpdateServer=\n"), std::string::npos);
}

TEST_F(Request, ChangingRealTimeTakesARestart) {
  SettingsFields changed = settings();
  changed.realTimeEnabled = true;
  reply(Opcode::kSetConfig, ipc::encodeSettings(changed));
  EXPECT_TRUE(logGets("[INF] real-time setting changed, service restart required\n"));
}

TEST_F(Request, ADecisionWithAnotherActionDoesNothing) {
  const std::wstring file = folder().write(L"file.txt", "mine");
  ThreatRecord threat;
  threat.path = file;
  EXPECT_EQ(reply(Opcode::kThreatDecision, ipc::encodeThreatDecision({3, threat})), "");
  EXPECT_EQ(readFile(file), "mine");
  EXPECT_TRUE(quarantine().empty());
}

TEST_F(Request, CancelWithoutAScanSucceeds) { EXPECT_EQ(reply(Opcode::kCancelScan), ""); }

TEST_F(Request, TrailingBytesAreIgnored) {
  EXPECT_EQ(reply(Opcode::kCancelScan, "surplus"), "");
  EXPECT_EQ(reply(Opcode::kSetConfig, ipc::encodeSettings(settings()) + "surplus"), "");
}

TEST_F(Request, ReloadReadsTheSignatureFilesAnew) {
  const std::wstring file = settings().signatureDb;
  writeFile(file, "VERSION e2e-2\n" + std::string(64, 'a') + "\n" + std::string(64, 'b') + "\n");
  EXPECT_EQ(status().signatureCount, 1u);
  EXPECT_EQ(reply(Opcode::kReloadSignatures), "");
  EXPECT_EQ(status().signatureCount, 2u);
  EXPECT_EQ(status().signatureVersion, "e2e-2");
}

TEST_F(Request, AFailedReloadSaysWhyAndKeepsTheDatabase) {
  const std::wstring file = settings().signatureDb;
  removeTree(file);
  EXPECT_EQ(refusal(Opcode::kReloadSignatures), "cannot open: " + toUtf8(file));
  writeFile(file, "# nothing\n");
  EXPECT_EQ(refusal(Opcode::kReloadSignatures), "database is empty");
  EXPECT_EQ(status().signatureCount, 1u);
}

TEST_F(Request, LiveSignaturesAreMergedIntoTheSeed) {
  writeFile(liveSignaturesPath(), "VERSION live-7\n" + std::string(40, 'c') + "\n");
  EXPECT_EQ(reply(Opcode::kReloadSignatures), "");
  EXPECT_EQ(status().signatureCount, 2u);
  EXPECT_EQ(status().signatureVersion, "live-7");
}

}  // namespace
}  // namespace korvel::test

// The pretended service answers as the real one would.
#include "tools/korvelmock/mock_client.h"

namespace korvel::test {
namespace {

constexpr char kThreeThreats[] =
    R"({"machine": {"scan": {"replies": 4, "files": 100, "bytes": 4000, "elapsedMs": 7,
  "threats": {"times": 4, "each": {"path": "{target}\\a{n}.exe", "name": "N{n}", "code": "C", "severity": 3,
  "size": 5, "sha256": "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef"}}}}})";

TEST(MockMachine, AScanGoesThroughItsPhasesAndEndsAsTheServiceEndsIt) {
  MockClient client(kThreeThreats);
  EXPECT_EQ(client.ask("GetProgress")["progress"]["phase"], "");
  EXPECT_EQ(client.ask("StartScan", {{"scope", 3}, {"targets", {"C:\\Samples\\"}}}), Json::object());
  std::vector<std::string> phases;
  for (int i = 0; i < 4; ++i) {
    const Json progress = client.ask("GetProgress");
    EXPECT_EQ(progress["scanning"], true);
    EXPECT_EQ(progress["lastSummary"]["filesScanned"], 0);
    phases.push_back(progress["progress"]["phase"]);
  }
  EXPECT_EQ(phases, (std::vector<std::string>{"counting", "scanning", "scanning", "finishing"}));
  const Json end = client.ask("GetProgress");
  EXPECT_EQ(end["scanning"], false);
  EXPECT_EQ(end["progress"]["phase"], "cancelled");
  EXPECT_EQ(end["progress"]["filesDone"], 100);
  EXPECT_EQ(end["lastSummary"], (Json{{"filesScanned", 100},
                                      {"threats", 4},
                                      {"suspicious", 0},
                                      {"bytesScanned", 4000},
                                      {"elapsedMs", 7},
                                      {"cancelled", true}}));
  EXPECT_EQ(client.ask("GetResults")["threats"][0]["path"], "C:\\Samples\\a1.exe");
  EXPECT_EQ(client.ask("GetConfig")["LastThreatCount"], 4);
}

TEST(MockMachine, ResultsGrowWhileTheScanRuns) {
  MockClient client(kThreeThreats);
  (void)client.ask("StartScan", {{"scope", 0}});
  std::vector<size_t> counts;
  for (int i = 0; i < 5; ++i) {
    counts.push_back(client.ask("GetResults")["threats"].size());
    (void)client.ask("GetStatus");
  }
  EXPECT_EQ(counts, (std::vector<size_t>{0, 1, 2, 3, 4}));
}

TEST(MockMachine, ACancelledScanKeepsWhatItFound) {
  MockClient client(kThreeThreats);
  (void)client.ask("StartScan", {{"scope", 1}});
  for (int i = 0; i < 2; ++i) (void)client.ask("GetProgress");
  EXPECT_EQ(client.ask("CancelScan"), Json::object());
  const Json end = client.ask("GetProgress");
  EXPECT_EQ(end["scanning"], false);
  EXPECT_EQ(end["lastSummary"]["cancelled"], true);
  EXPECT_EQ(end["progress"]["filesDone"], 50);
  EXPECT_EQ(client.ask("GetResults")["threats"].size(), 2u);
}

TEST(MockMachine, OneScanAtATimeAndNoneWithoutProtection) {
  MockClient client(kThreeThreats);
  (void)client.ask("StartScan");
  EXPECT_EQ(client.ask("StartScan")["error"], "a scan is already running");
  EXPECT_EQ(client.ask("GetStatus")["scanRunning"], true);
  Json settings = client.ask("GetConfig");
  settings["ProtectionEnabled"] = false;
  (void)client.ask("CancelScan");
  EXPECT_EQ(client.ask("SetConfig", settings), Json::object());
  EXPECT_EQ(client.ask("StartScan")["error"], "protection is disabled");
  EXPECT_EQ(client.ask("GetStatus")["realTimeActive"], false);
}

TEST(MockMachine, AScanOfTheMemoryOrOfNoTargetExaminesNothing) {
  for (const uint32_t scope : {2u, 3u, 9u}) {
    MockClient client(kThreeThreats);
    EXPECT_EQ(client.ask("StartScan", {{"scope", scope}}), Json::object());
    const Json progress = client.ask("GetProgress");
    EXPECT_EQ(progress["scanning"], false);
    EXPECT_EQ(progress["progress"]["phase"], "idle");
    EXPECT_EQ(client.ask("GetResults")["threats"].size(), 0u);
  }
}

Json decisionOn(const Json& threat, uint32_t action) {
  Json decision = {{"path", threat["path"]}, {"action", action}};
  for (const char* name : {"name", "code", "severity", "size", "sha256"}) decision[name] = threat[name];
  return decision;
}

TEST(MockMachine, AThreatGoesToQuarantineAndBack) {
  MockClient client(kThreeThreats);
  (void)client.scan("C:\\Samples");
  const Json threat = client.ask("GetResults")["threats"][1];
  EXPECT_EQ(client.ask("ThreatDecision", decisionOn(threat, 1)), Json::object());
  EXPECT_EQ(client.ask("ThreatDecision", decisionOn(threat, 1))["error"], "file not found");
  const Json entries = client.ask("ListQuarantine")["entries"];
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0]["originalPath"], "C:\\Samples\\a2.exe");
  EXPECT_EQ(entries[0]["storedPath"],
            "C:\\ProgramData\\KORVEL Antivirus\\Quarantine\\1795219200_0123456789abcdef_a2.exe");
  EXPECT_EQ(client.ask("GetResults")["threats"].size(), 4u) << "a decision takes nothing off the list";
  const Json id = {{"id", entries[0]["id"]}};
  EXPECT_EQ(client.ask("RestoreQuarantined", id), Json::object());
  EXPECT_EQ(client.ask("RestoreQuarantined", id)["error"], "record not found");
  EXPECT_EQ(client.ask("ThreatDecision", decisionOn(threat, 2)), Json::object());
  EXPECT_EQ(client.ask("ListQuarantine")["entries"].size(), 0u);
  EXPECT_EQ(client.ask("DeleteQuarantined", id)["error"], "record not found");
}

TEST(MockMachine, OnlyReportedFilesExistAndUnknownActionsDoNothing) {
  MockClient client(R"({"machine": {"events": [{"path": "C:\\e.exe", "name": "E"}]}})");
  EXPECT_EQ(client.ask("ThreatDecision", {{"path", "C:\\e.exe"}, {"action", 1}})["error"], "file not found");
  EXPECT_EQ(client.ask("GetProgress")["events"][0]["path"], "C:\\e.exe");
  EXPECT_EQ(client.ask("GetProgress")["events"].size(), 0u) << "each event comes once";
  EXPECT_EQ(client.ask("ThreatDecision", {{"path", "C:\\e.exe"}, {"action", 3}}), Json::object());
  EXPECT_EQ(client.ask("ListQuarantine")["entries"].size(), 0u);
  EXPECT_EQ(client.ask("ThreatDecision", {{"path", "C:\\e.exe"}, {"action", 1}}), Json::object());
  EXPECT_EQ(client.ask("ListQuarantine")["entries"].size(), 1u);
}

TEST(MockMachine, SettingsAreReplacedAndEmptyPathsKeepTheirValue) {
  MockClient client("{}");
  Json settings = client.ask("GetConfig");
  EXPECT_EQ(settings["ScheduledHour"], 4);
  settings["ScheduledHour"] = 27;
  settings["SignatureDb"] = "";
  settings["QuarantineDir"] = "D:\\Карантин";
  EXPECT_EQ(client.ask("SetConfig", settings), Json::object());
  settings = client.ask("GetConfig");
  EXPECT_EQ(settings["ScheduledHour"], 3);
  EXPECT_EQ(settings["SignatureDb"], "C:\\Program Files\\Korvel\\data\\signatures.seed.txt");
  EXPECT_EQ(settings["QuarantineDir"], "D:\\Карантин");
}

TEST(MockMachine, UpdatesRunForAWhileAndThenShowWhatTheyBrought) {
  MockClient client(R"({"machine": {"status": {"updateCheckInstaller": "C:\\Setup.exe"}}})");
  EXPECT_EQ(client.ask("GetStatus")["updateCheckInstaller"], "");
  EXPECT_EQ(client.ask("StartLiveUpdate")["started"], 1);
  EXPECT_EQ(client.ask("StartLiveUpdate")["error"], "обновление уже выполняется");
  EXPECT_EQ(client.ask("StartUpdateCheck")["started"], 1);
  for (int i = 0; i < 2; ++i) {
    const Json status = client.ask("GetStatus");
    EXPECT_EQ(status["liveUpdateRunning"], true);
    EXPECT_EQ(status["updateCheckRunning"], true);
  }
  const Json status = client.ask("GetStatus");
  EXPECT_EQ(status["liveUpdateRunning"], false);
  EXPECT_EQ(status["updateCheckInstaller"], "C:\\Setup.exe");
  EXPECT_EQ(client.ask("GetConfig")["LastLiveUpdateUtc"], 1'795'219'200);
}

TEST(MockMachine, AFirewallChangeThatCannotBeMadeIsNoRefusal) {
  MockClient client("{}");
  const auto change = [&client](const char* operation, const char* argument) {
    return client.ask(operation, {{"argument", argument}});
  };
  EXPECT_EQ(change("FirewallSetProfile", "public,1")["ok"], true);
  EXPECT_EQ(change("FirewallSetProfile", "work,1")["text"], "некорректный профиль брандмауэра в запросе");
  EXPECT_EQ(change("FirewallSetProfile", "public")["text"], "некорректное значение включения профиля");
  EXPECT_EQ(change("FirewallBlockInbound", "yes")["text"], "некорректное значение блокирования входящих");
  EXPECT_EQ(change("FirewallAddRule", "block|both|C:\\a|b.exe")["ok"], true);
  for (const char* wrong : {"", "block", "block|in", "block|in|", "drop|in|C:\\a.exe", "allow|up|C:\\a.exe"})
    EXPECT_EQ(change("FirewallAddRule", wrong)["text"], "некорректное описание правила приложения") << wrong;
  EXPECT_EQ(client.ask("FirewallRemoveRules")["ok"], true);
  EXPECT_EQ(client.ask("FirewallStatus")["listing"],
            "prof,domain,on\nprof,private,on\nprof,public,on\nblockin,off\n");
}

TEST(MockMachine, WhatCannotBeDecodedIsRefusedAsTheServiceDoesIt) {
  mock::Player player{mock::Script()};
  const std::pair<uint32_t, const char*> refusals[] = {{0, "unsupported opcode 0"},
                                                       {3, "malformed StartScan payload"},
                                                       {7, "malformed ThreatDecision payload"},
                                                       {9, "malformed quarantine id"},
                                                       {10, "malformed quarantine id"},
                                                       {12, "malformed SetConfig payload"},
                                                       {17, "malformed firewall payload"},
                                                       {20, "malformed firewall payload"},
                                                       {22, "unsupported opcode 22"},
                                                       {0xFFFFFFFF, "unsupported opcode 4294967295"}};
  for (const auto& [opcode, text] : refusals)
    EXPECT_EQ(player.answer({opcode, "\x01"}).bytes, frameOf(ipc::kErrorOpcode, ipc::encodeText(text)))
        << opcode;
}

}  // namespace
}  // namespace korvel::test

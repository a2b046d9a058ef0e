// Each built-in scene is what it says.
#include <algorithm>

#include "korvelmock/scenes.h"
#include "tools/korvelmock/mock_client.h"

namespace korvel::test {
namespace {

const mock::Scene& scene(std::string_view name) {
  const mock::Scene* found = mock::findScene(name);
  if (found == nullptr) throw std::invalid_argument("no scene " + std::string(name));
  return *found;
}

MockClient clientOf(std::string_view name) { return MockClient(scene(name).text); }

TEST(MockScenes, AllAreScriptsAndSayWhatTheyAre) {
  std::vector<std::string_view> names;
  for (const mock::Scene& one : mock::builtInScenes()) {
    names.push_back(one.name);
    EXPECT_NE(mock::parseScript(one.text).about, "") << one.name;
  }
  EXPECT_EQ(names, (std::vector<std::string_view>{"absent", "busy", "dropped", "failed", "found", "fresh",
                                                  "garbage", "newer", "nothing", "older", "refusals", "scan",
                                                  "silent", "slow", "stopped", "version2"}));
}

TEST(MockScenes, FreshHasNothingYet) {
  MockClient client = clientOf("fresh");
  EXPECT_EQ(client.ask("GetStatus")["signatureVersion"], "seed-20261121");
  EXPECT_EQ(client.ask("GetConfig")["LastScanUtc"], 0);
  EXPECT_EQ(client.ask("ListQuarantine")["entries"].size(), 0u);
  EXPECT_EQ(client.scan("C:\\Samples")["lastSummary"]["threats"], 0);
}

TEST(MockScenes, FoundHasTwoThreatsAndASuspiciousFile) {
  MockClient client = clientOf("found");
  const Json end = client.scan("C:\\Samples");
  EXPECT_EQ(end["lastSummary"]["threats"], 2);
  EXPECT_EQ(end["lastSummary"]["suspicious"], 6);
  const Json threats = client.ask("GetResults")["threats"];
  ASSERT_EQ(threats.size(), 3u);
  EXPECT_EQ(threats[1]["path"], "C:\\Samples\\Загрузки\\счёт №7.pdf.exe");
  EXPECT_EQ(client.ask("ListQuarantine")["entries"].size(), 1u);
}

TEST(MockScenes, ScanHasProgressAndTenThousandResults) {
  MockClient client = clientOf("scan");
  EXPECT_EQ(client.ask("StartScan"), Json::object());
  uint64_t before = 0;
  int replies = 0;
  for (; client.ask("GetStatus")["scanRunning"] == true; ++replies) {
    const uint64_t done = client.ask("GetProgress")["progress"]["filesDone"];
    EXPECT_GE(done, before);
    before = done;
  }
  EXPECT_EQ(replies, 6) << "both kinds of requests let it go on";
  EXPECT_EQ(client.ask("GetProgress")["progress"]["filesDone"], 250'000);
  const Json threats = client.ask("GetResults")["threats"];
  ASSERT_EQ(threats.size(), 10'000u);
  EXPECT_EQ(threats[9'999]["path"], "C:\\Users\\Public\\образцы\\sample-10000.exe");
}

TEST(MockScenes, FailedStoppedAndNothingEndAsTheirNamesSay) {
  MockClient failed = clientOf("failed");
  EXPECT_EQ(failed.scan("C:\\")["progress"]["phase"], "failed");
  (void)failed.ask("StartUpdateCheck");
  (void)failed.ask("StartLiveUpdate");
  for (int i = 0; i < 2; ++i) (void)failed.ask("GetStatus");
  EXPECT_EQ(failed.ask("GetStatus")["updateCheckError"], "нет связи");
  EXPECT_EQ(failed.ask("GetConfig")["LastLiveUpdateUtc"], 0);

  const Json stopped = clientOf("stopped").scan("C:\\");
  EXPECT_EQ(stopped["progress"]["phase"], "cancelled");
  EXPECT_LT(stopped["progress"]["filesDone"].get<uint64_t>(),
            stopped["progress"]["filesTotal"].get<uint64_t>());

  const Json nothing = clientOf("nothing").scan("C:\\");
  EXPECT_EQ(nothing["progress"]["phase"], "idle");
  EXPECT_EQ(nothing["lastSummary"]["filesScanned"], 0);
}

TEST(MockScenes, BusyAndAbsentKeepClientsWaiting) {
  EXPECT_EQ(mock::parseScript(scene("busy").text).busyMs, 2'000u);
  EXPECT_EQ(mock::parseScript(scene("absent").text).absentMs, 2'000u);
  MockClient busy = clientOf("busy");
  EXPECT_EQ(busy.ask("StartScan")["error"], "a scan is already running");
  EXPECT_EQ(busy.ask("StartLiveUpdate")["error"], "обновление уже выполняется");
  EXPECT_EQ(busy.ask("StartUpdateCheck")["error"], "обновление уже выполняется");
}

TEST(MockScenes, SlowTakesMoreThanASecondAndSilentNeverAnswers) {
  const mock::Answer slow = clientOf("slow").bytes("GetStatus");
  EXPECT_EQ(slow.delayMs, 1'000u);
  EXPECT_EQ(slow.pieceBytes, 7u);
  const mock::Answer silent = clientOf("silent").bytes("GetStatus");
  EXPECT_EQ(silent.bytes, "");
  EXPECT_FALSE(silent.hangUp);
}

TEST(MockScenes, DroppedCutsRepliesAndThenAnswers) {
  MockClient client = clientOf("dropped");
  for (const size_t bytes : {30u, 10u, 0u}) {
    const mock::Answer answer = client.bytes("GetStatus");
    EXPECT_EQ(answer.bytes.size(), bytes);
    EXPECT_TRUE(answer.hangUp);
  }
  EXPECT_EQ(client.ask("GetStatus")["protectionEnabled"], true);
  (void)client.scan("C:\\Samples");
  EXPECT_EQ(client.bytes("GetResults").bytes.size(), 100'000u);
  EXPECT_EQ(client.ask("GetResults")["threats"].size(), 1'000u);
}

TEST(MockScenes, OlderRefusesTheNewerOperations) {
  MockClient client = clientOf("older");
  EXPECT_EQ(client.ask("GetStatus")["serviceVersion"], "1.0.0");
  EXPECT_EQ(client.ask("ReloadSignatures"), Json::object());
  EXPECT_EQ(client.ask("StartLiveUpdate")["error"], "unsupported opcode 14");
}

TEST(MockScenes, NewerSaysMoreThanIsKnown) {
  MockClient client = clientOf("newer");
  mock::Player plain{mock::Script()};
  EXPECT_EQ(client.bytes("Ping").bytes.size(), plain.answer({2, {}}).bytes.size() + 12);
  EXPECT_EQ(client.ask("GetStatus")["serviceVersion"], "9.0.0");
  EXPECT_EQ(client.ask("GetProgress")["progress"]["phase"], "polishing");
  EXPECT_EQ(client.scan("C:\\")["lastSummary"]["threats"], 1);
  EXPECT_EQ(client.ask("GetResults")["threats"][0]["severity"], 7);
}

TEST(MockScenes, Version2HasAnotherHeader) {
  const std::string bytes = clientOf("version2").bytes("Ping").bytes;
  EXPECT_EQ(bytes[4], 2);
  EXPECT_EQ(clientOf("version2").ask("Ping"), nullptr);
}

TEST(MockScenes, GarbageIsNoReplySevenTimes) {
  MockClient client = clientOf("garbage");
  for (int i = 0; i < 7; ++i) {
    const Json reply = client.ask("Ping");
    EXPECT_FALSE(reply.is_object() && reply.contains("tickCount")) << i << ": " << reply;
  }
  EXPECT_EQ(client.ask("Ping")["tickCount"], 123'456'789);
}

}  // namespace
}  // namespace korvel::test

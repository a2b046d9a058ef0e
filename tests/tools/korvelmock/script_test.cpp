// Scripts as JSON: what is wrong is named with its place.
#include "tools/korvelmock/mock_client.h"

namespace korvel::test {
namespace {

std::string problemOf(std::string_view script) {
  try {
    (void)mock::parseScript(script);
    return "none";
  } catch (const std::invalid_argument& problem) {
    return problem.what();
  }
}

TEST(MockScript, AnEmptyScriptIsAMachineAfterItsInstallation) {
  const mock::Script script = mock::parseScript("{}");
  EXPECT_TRUE(script.machine.settings.protectionEnabled);
  EXPECT_EQ(script.machine.status.signatureCount, 202u);
  EXPECT_TRUE(script.answers.empty());
}

TEST(MockScript, NamesThePlaceOfWhatIsWrong) {
  const std::pair<const char*, const char*> problems[] = {
      {"[]", "script: must be an object"},
      {R"({"answer": []})", "script.answer: is unknown"},
      {R"({"about": 1})", "script.about: must be a text"},
      {R"({"busyMs": -1})", "script.busyMs: must be a whole number from 0 to 4294967295"},
      {R"({"busyMs": 4294967296})", "script.busyMs: must be a whole number from 0 to 4294967295"},
      {R"({"busyMs": 1.5})", "script.busyMs: must be a whole number from 0 to 4294967295"},
      {R"({"machine": {"status": {"colour": 1}}})",
       "script.machine.status: \"colour\" is no field of \"value\""},
      {R"({"machine": {"status": 1}})", "script.machine.status: must be an object"},
      {R"({"machine": {"settings": {"ScheduledHour": "4"}}})",
       "script.machine.settings: \"ScheduledHour\" must be a number of 32 bits"},
      {R"({"machine": {"lastOperation": 0}})",
       "script.machine.lastOperation: must be a whole number from 1 to 4294967295"},
      {R"({"machine": {"scan": {"end": "soon"}}})",
       "script.machine.scan.end: must be completed, stopped, failed or nothing"},
      {R"({"machine": {"scan": {"threats": 3}}})",
       "script.machine.scan.threats: \"threats\" must be a list, or {\"times\": N, \"each\": ...}"},
      {R"({"answers": {}})", "script.answers: must be a list"},
      {R"({"answers": [{}]})", "script.answers[0].to: is missing"},
      {R"({"answers": [{"to": []}]})", "script.answers[0].to: is empty"},
      {R"({"answers": [{"to": "Ping"}, {"to": "Pong"}]})",
       "script.answers[1].to: must be the name of an operation or an opcode"},
      {R"({"answers": [{"to": "any", "reply": {}}]})", "script.answers[0].reply: needs operations in \"to\""},
      {R"({"answers": [{"to": "Ping", "reply": {"tick": 1}}]})",
       "script.answers[0].reply: \"tick\" is no field of \"value\""},
      {R"({"answers": [{"to": "Ping", "bytes": "0g"}]})",
       "script.answers[0].bytes: not a byte in hexadecimal digits"},
      {R"({"answers": [{"to": "Ping", "refuse": "a", "silent": true}]})",
       "script.answers[0].to: only one of reply, refuse, payload, bytes and silent says what the answer is"},
  };
  for (const auto& [script, problem] : problems) EXPECT_EQ(problemOf(script), problem) << script;
  EXPECT_EQ(problemOf("{").find("no JSON: "), 0u);
}

}  // namespace
}  // namespace korvel::test

// korvelctl doctor, selftest, log, completion, and firewall export and import.
#include <nlohmann/json.hpp>
#include <optional>

#include "base/files.h"
#include "base/utf.h"
#include "base/win.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"
#include "fw/fake/fake_firewall.h"

namespace korvel::test {
namespace {

using nlohmann::json;

Finished ctl(const std::wstring& arguments) {
  return runToEnd(controlExecutable(), arguments + L" --lang en");
}

json document(const std::wstring& arguments, DWORD exitCode) {
  const Finished run = ctl(arguments + L" --json");
  EXPECT_EQ(run.exitCode, exitCode) << run.output << run.errorOutput;
  return json::parse(run.output);
}

class ControlDoctor : public ServiceTest {
 protected:
  static json lineOf(const json& document, const std::string& id) {
    for (const json& line : document["lines"]) {
      if (line["id"] == id) return line;
    }
    ADD_FAILURE() << "no line " << id;
    return {};
  }
};

TEST_F(ControlDoctor, SeesARunningService) {
  startService();
  const json page = document(L"doctor", 1);
  EXPECT_EQ(page["schema"], "korvel.doctor/1");
  EXPECT_EQ(page["findings"], true);
  EXPECT_EQ(page["lines"].size(), 15u);
  EXPECT_EQ(lineOf(page, "service")["state"], "warning") << "it was started by hand";
  EXPECT_EQ(lineOf(page, "pipe")["state"], "ok");
  EXPECT_EQ(lineOf(page, "database")["state"], "ok");
  EXPECT_EQ(lineOf(page, "settings")["state"], "ok");
  EXPECT_EQ(lineOf(page, "log")["state"], "ok");
  EXPECT_EQ(lineOf(page, "database_age")["state"], "warning") << "live updates are off in tests";
  EXPECT_EQ(lineOf(page, "update_server")["state"], "not_looked_at");
  EXPECT_TRUE(service().running());
}

TEST_F(ControlDoctor, WithoutAServiceItIsAPageToo) {
  const json page = document(L"doctor", 1);
  EXPECT_EQ(lineOf(page, "service")["state"], "failure");
  EXPECT_EQ(lineOf(page, "pipe")["state"], "failure");
  EXPECT_NE(lineOf(page, "service")["next_step"], "");
  EXPECT_EQ(lineOf(page, "protection")["state"], "not_looked_at");
}

TEST_F(ControlDoctor, FindsWhatKeepsTheServiceFromStarting) {
  writeSettings("ScheduledHour=x\r\n");
  EXPECT_EQ(lineOf(document(L"doctor", 1), "settings")["state"], "failure");
}

TEST_F(ControlDoctor, FindsADamagedQuarantineAndFilesWithoutARecord) {
  startService();
  writeFile(dataDir() + L"\\Quarantine\\1_2_stray.exe", "x");
  EXPECT_EQ(lineOf(document(L"doctor", 1), "quarantine")["state"], "warning");
  writeFile(dataDir() + L"\\Quarantine\\quarantine.db", std::string("\0\0\0\0", 4));
  EXPECT_EQ(lineOf(document(L"doctor", 1), "quarantine")["state"], "failure");
}

TEST_F(ControlDoctor, AsksTheConfiguredServerUnlessToldNotTo) {
  writeSettings("UpdateServer=http://127.0.0.1:1/\n");
  EXPECT_EQ(lineOf(document(L"doctor", 1), "update_server")["state"], "failure");
  EXPECT_EQ(lineOf(document(L"doctor --offline", 1), "update_server")["state"], "not_looked_at");
}

TEST_F(ControlDoctor, CreatesNothing) {
  wipeServiceData();
  for (const wchar_t* command :
       {L"doctor --offline", L"selftest", L"log tail", L"log rotate --yes", L"service state",
        L"completion powershell", L"firewall export -o C:\\never.json"}) {
    ctl(command);
  }
  EXPECT_FALSE(pathExists(L"C:\\ProgramData\\KORVEL Antivirus"));
  EXPECT_FALSE(pathExists(L"C:\\never.json"));
}

class ControlSelftest : public ServiceTest {};

TEST_F(ControlSelftest, SendsTheTestFileThroughTheWholeService) {
  startService();
  const json test = document(L"selftest", 0);
  EXPECT_EQ(test["schema"], "korvel.selftest/1");
  EXPECT_EQ(test["passed"], true);
  ASSERT_EQ(test["steps"].size(), 6u);
  for (const json& step : test["steps"]) EXPECT_EQ(step["state"], "ok") << step.dump();
  EXPECT_TRUE(quarantine().empty());
  EXPECT_FALSE(pathExists(toWide(test["folder"].get<std::string>())));
  EXPECT_EQ(logMentions("quarantined: "), 2) << "for the restore, and for the deletion";
}

TEST_F(ControlSelftest, FailsWhereTheFileIsNotKnown) {
  writeSettings(
      "SignatureDb=" +
      toUtf8(folder().write(L"other.txt", "KORVELDB/1\nVERSION x\n" + std::string(64, 'a') + "\n")) + "\n");
  startService();
  const json test = document(L"selftest", 2);
  EXPECT_EQ(test["passed"], false);
  EXPECT_EQ(test["steps"][1]["state"], "failure");
  EXPECT_EQ(test["steps"][2]["state"], "not_looked_at") << "not reached";
  EXPECT_FALSE(pathExists(toWide(test["folder"].get<std::string>())));
}

TEST_F(ControlSelftest, KeepsItsFileWhenToldToAndTouchesNothingInADryRun) {
  startService();
  const json dry = document(L"selftest --dry-run", 0);
  EXPECT_EQ(dry["done"], false);
  EXPECT_FALSE(pathExists(toWide(dry["folder"].get<std::string>())));
  const json kept = document(L"selftest --keep", 0);
  const std::wstring left = toWide(kept["folder"].get<std::string>());
  EXPECT_TRUE(pathExists(left));
  removeTree(left);
}

TEST_F(ControlSelftest, WithoutAServiceItMakesNoFile) {
  EXPECT_EQ(document(L"selftest", 3)["schema"], "korvel.error/1");
}

class ControlLog : public ServiceTest {};

TEST_F(ControlLog, ShowsTheLastLines) {
  startService();
  ASSERT_TRUE(logGets("workers started"));
  const json tail = document(L"log tail -n 2", 0);
  EXPECT_EQ(tail["schema"], "korvel.log/1");
  ASSERT_EQ(tail["lines"].size(), 2u);
  EXPECT_EQ(tail["lines"][0]["level"], "INF");
  EXPECT_EQ(tail["lines"][0]["time"].get<std::string>().size(), 12u);
  const std::string all = ctl(L"log tail -n 100000").output;
  EXPECT_NE(all.find("[INF] KorvelService starting, version"), std::string::npos);
  const Finished lines = ctl(L"log tail -n 1 --ndjson");
  EXPECT_EQ(json::parse(lines.output.substr(0, lines.output.find('\n')))["type"], "line");
}

TEST_F(ControlLog, AMissingLogIsSaidAndFollowingNeedsLines) {
  EXPECT_EQ(document(L"log tail", 2)["error"]["win32"], 2);
  EXPECT_EQ(document(L"log tail -f", 64)["error"]["kind"], "usage");
}

TEST_F(ControlLog, IsRotatedWhileTheServiceWrites) {
  startService();
  ASSERT_TRUE(logGets("workers started"));
  EXPECT_EQ(document(L"log rotate", 0)["rotated"], false) << "it is small";
  EXPECT_EQ(document(L"log rotate --max 100", 64)["error"]["kind"], "usage") << "it would ask";
  EXPECT_EQ(document(L"log rotate --max 0 --dry-run", 0)["rotated"], false);
  const json rotated = document(L"log rotate --max 0 --yes", 0);
  EXPECT_EQ(rotated["rotated"], true);
  EXPECT_EQ(rotated["kept_as"], toUtf8(logPath()) + ".1");
  EXPECT_NE(readFile(logPath() + L".1").find("workers started"), std::string::npos);
  (void)status();
  EXPECT_TRUE(logGets("client connected")) << "the service goes on in the emptied log";
  EXPECT_EQ(log().find("workers started"), std::string::npos);
  EXPECT_EQ(document(L"log rotate --max ten", 64)["error"]["kind"], "usage");
}

TEST(ControlCompletion, IsAScriptInEveryMode) {
  const Finished plain = ctl(L"completion powershell");
  EXPECT_EQ(plain.exitCode, 0u);
  EXPECT_NE(plain.output.find("Register-ArgumentCompleter -Native"), std::string::npos);
  EXPECT_NE(plain.output.find("$words['service install']"), std::string::npos);
  EXPECT_EQ(ctl(L"completion powershell --json").output, plain.output);
  EXPECT_EQ(ctl(L"completion bash").exitCode, 64u);
}

class ControlFirewallFile : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    fake_.emplace();
    fwfake::State state;
    state.profiles = {{1, -1}, {2, -1}, {4, -1}};
    fake_->set(state);
    startService();
  }
  void TearDown() override {
    fake_.reset();
    ServiceTest::TearDown();
  }
  std::optional<fwfake::FakeFirewall> fake_;
};

TEST_F(ControlFirewallFile, RulesTravelToAnotherComputer) {
  EXPECT_EQ(ctl(L"firewall block C:\\a.exe").exitCode, 0u);
  EXPECT_EQ(ctl(L"firewall allow C:\\b.exe --in").exitCode, 0u);
  const std::wstring file = folder().at(L"rules.json");
  EXPECT_EQ(document(L"firewall export -o \"" + file + L"\"", 0)["rules"], 2);
  EXPECT_EQ(document(L"firewall export -o \"" + file + L"\"", 64)["error"]["kind"], "usage") << "it exists";
  EXPECT_EQ(ctl(L"firewall export -o \"" + file + L"\" --yes").exitCode, 0u);
  EXPECT_EQ(ctl(L"firewall export -o \"" + file + L"\" --force").exitCode, 0u);
  const std::string written = readFile(file);
  EXPECT_EQ(json::parse(written)["rules"][0]["direction"], "both");
  EXPECT_EQ(ctl(L"firewall export").output, written);

  EXPECT_EQ(ctl(L"firewall reset --yes").exitCode, 0u);
  EXPECT_EQ(json::parse(ctl(L"firewall export").output)["rules"], json::array());
  EXPECT_EQ(document(L"firewall import \"" + file + L"\" --dry-run", 0)["made"], 0);
  EXPECT_EQ(json::parse(ctl(L"firewall export").output)["rules"], json::array());
  EXPECT_EQ(document(L"firewall import \"" + file + L"\"", 0)["made"], 2);
  EXPECT_EQ(ctl(L"firewall export").output, written);
  EXPECT_EQ(document(L"firewall import \"" + file + L"\" --replace", 64)["error"]["kind"], "usage")
      << "it would ask";
  EXPECT_EQ(document(L"firewall import \"" + file + L"\" --replace --yes", 0)["made"], 2);
  EXPECT_EQ(ctl(L"firewall export").output, written);
}

TEST_F(ControlFirewallFile, AFileWithAnErrorChangesNothing) {
  const std::wstring file = folder().write(
      L"bad.json",
      R"({"schema":"korvel.firewall-rules/1","rules":[{"action":"block","direction":"in","program":"C:\\a.exe"},{}]})");
  EXPECT_EQ(document(L"firewall import \"" + file + L"\"", 64)["error"]["kind"], "usage");
  EXPECT_EQ(json::parse(ctl(L"firewall export").output)["rules"], json::array());
  EXPECT_EQ(document(L"firewall import \"" + folder().at(L"none.json") + L"\"", 64)["error"]["win32"], 2);
}

TEST(EventTexts, AreAResourceOfTheProgram) {
  const HMODULE program = ::LoadLibraryExW(controlExecutable().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  ASSERT_NE(program, nullptr);
  wchar_t text[1024] = {};
  for (const DWORD id : {1001u, 1002u, 1003u, 1004u, 1010u, 1011u, 1020u, 1021u}) {
    EXPECT_GT(::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, program, id, 0,
                               text, 1024, nullptr),
              0u)
        << id;
  }
  EXPECT_EQ(::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, program, 1001, 0,
                             text, 1024, nullptr) > 0 &&
                std::wstring(text).starts_with(L"A threat was found."),
            true);
  ::FreeLibrary(program);
}

}  // namespace
}  // namespace korvel::test

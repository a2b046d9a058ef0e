// Updates from a real server: a tree published with the kit of deploy/update-server, served by nginx with the
// kit's configuration. update_operator.py runs both on this program's requests.
#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>

#include "base/files.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"
#include "hash/sha256.h"
#include "net/http_client.h"
#include "remedy/hosts_file.h"
#include "support/test_servers.h"

namespace korvel::test {
namespace {

constexpr char kUserLines[] = "# mine\n127.0.0.1 localhost\n";
constexpr char kBlock[] =
    "# KORVEL WEB SHIELD BEGIN\n"
    "127.0.0.1 phish.example # korvel-blocked\n"
    "127.0.0.1 www.phish.example # korvel-blocked\n"
    "127.0.0.1 www.mal.example # korvel-blocked\n"
    "# KORVEL WEB SHIELD END\n";
/// The server's cache of open files hides a new release from clients for a few seconds.
constexpr DWORD kServerCacheLimitMs = 30'000;
/// The shield's first run comes 30 s after the start.
constexpr DWORD kFirstShieldLimitMs = 90'000;
constexpr DWORD kHostsLimitMs = 20'000;

std::string sha256Of(const std::string& bytes) {
  hash::Sha256 hasher;
  hasher.update(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return hasher.hexDigest();
}

std::string installerOf(char filling) { return "MZ" + std::string(70'000, filling); }

/// The size of a file, without opening it; nothing when there is none.
std::optional<uint64_t> fileSize(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return std::nullopt;
  return uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
}

Finished ctl(const std::wstring& arguments) {
  return runToEnd(controlExecutable(), L"--lang en " + arguments);
}
nlohmann::json json(const Finished& run) { return nlohmann::json::parse(run.output); }

std::string stalledServer() { return serverVariable("KORVEL_TEST_OPERATOR") + "/stall"; }

class Update : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    savedHosts_ = readFile(hostsFilePath());
    writeFile(hostsFilePath(), kUserLines);
    first_ = folder().write(L"in\\first.exe", "the first program");
    second_ = folder().write(L"in\\second.exe", "the second program");
    useServer(serverVariable("KORVEL_TEST_UPDATE_SERVER"));
    operate("/reset");
    publish("1.3.0", installerOf('a'), sha256Of("the first program") + "\n",
            "Phish.Example\nwww.mal.example\n");
    operate("/start");
  }
  void TearDown() override {
    operate("/release");  // or a stalled request would hold up the service's stop
    ServiceTest::TearDown();
    operate("/stop");
    writeFile(hostsFilePath(), savedHosts_);
  }

  void useServer(const std::string& address) { writeSettings("UpdateServer=" + address + "\n"); }

  static std::string operate(const std::string& request) {
    std::string answer;
    std::string error;
    EXPECT_TRUE(httpGet(serverVariable("KORVEL_TEST_OPERATOR") + request, &answer, &error))
        << request << error;
    return answer;
  }

  /// Publishes a release; empty parts stay as the last release has them.
  static void publish(const std::string& version, const std::string& installer,
                      const std::string& signatures = {}, const std::string& blocklist = {}) {
    const auto hand = [](const wchar_t* part, const std::string& bytes) {
      if (!bytes.empty()) writeFile(std::wstring(L"C:\\korvel-update\\") + part, bytes);
    };
    hand(L"installer", installer);
    hand(L"signatures", signatures);
    hand(L"blocklist", blocklist);
    operate(version.empty() ? "/publish" : "/publish?switches=--downgrade&version=" + version);
  }
  /// Publishes a release that is served at once.
  static void publishAtOnce(const std::string& version, const std::string& installer,
                            const std::string& signatures = {}) {
    publish(version, installer, signatures);
    operate("/start");
  }
  /// Puts bytes in the place of a document in force, or of the installer, behind the publisher's back.
  static void plant(const std::string& document, const std::string& bytes) {
    writeFile(L"C:\\korvel-update\\planted", bytes);
    operate("/plant?document=" + document);
    operate("/start");
  }
  /// What the publisher's check says is wrong with the server; empty when nothing is.
  static std::string problems() { return operate("/check"); }
  static void publishSignatures(const std::string& signatures) { publish("", "", signatures); }

  static std::string liveHashes() {
    const std::string text = readFile(liveSignaturesPath());
    return text.substr(text.find("SIZE "));
  }
  static std::string hosts() { return readFile(hostsFilePath()); }
  /// Waits until the hosts file has the size of `text`, without opening it: the system cannot replace a file
  /// that is open.
  static bool hostsGetTheSizeOf(const std::string& text) {
    return eventually(kHostsLimitMs, [&] { return fileSize(hostsFilePath()) == text.size(); });
  }

  /// The names of the threats in the folder of the two programs.
  std::vector<std::wstring> threats() {
    scan({folder().at(L"in")});
    std::vector<std::wstring> paths;
    for (const ThreatRecord& threat : results()) {
      if (threat.severity >= kSeverityHigh) paths.push_back(threat.path);
    }
    return paths;
  }

  std::wstring first_;
  std::wstring second_;

 private:
  std::string savedHosts_;
};

using Paths = std::vector<std::wstring>;

TEST_F(Update, SignaturesComeFromTheServerAndChangeVerdicts) {
  startService();
  EXPECT_EQ(threats(), Paths{});
  const Finished run = ctl(L"update signatures");
  EXPECT_EQ(run.exitCode, 0u) << run.errorOutput;
  EXPECT_EQ(run.output, "signatures updated: 2, database " + status().signatureVersion + "\n");
  EXPECT_EQ(liveHashes(), "SIZE 1\n" + sha256Of("the first program") + "\n");
  EXPECT_TRUE(logGets("[INF] live signatures updated: 1 hashes\n"));
  EXPECT_NE(settings().lastLiveUpdateUtc, 0u);
  EXPECT_EQ(readFile(settingsPath()).find("\nLastLiveUpdateUtc=0\n"), std::string::npos);
  EXPECT_EQ(threats(), Paths{first_});

  publishSignatures(sha256Of("the first program") + "\n" + sha256Of("the second program") + "\n");
  const auto arrives = [] { return json(ctl(L"update signatures --json"))["signatures"]["count"] == 3; };
  EXPECT_TRUE(eventually(kServerCacheLimitMs, arrives));
  EXPECT_EQ(threats(), (Paths{first_, second_}));

  stopService();
  useServer(serverVariable("KORVEL_TEST_UPDATE_SERVER"));
  startService();
  EXPECT_EQ(threats(), (Paths{first_, second_})) << "the live database outlives a restart";
}

TEST_F(Update, AServerThatIsDownLeavesTheSignaturesInForce) {
  startService();
  ASSERT_EQ(ctl(L"update signatures").exitCode, 0u);
  const std::string database = readFile(liveSignaturesPath());
  const uint64_t time = settings().lastLiveUpdateUtc;

  operate("/stop");
  const Finished run = ctl(L"update signatures");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.output, "");
  EXPECT_TRUE(run.errorOutput.starts_with("korvelctl: signatures: the live update failed"))
      << run.errorOutput;
  EXPECT_NE(run.errorOutput.find("gives no answer (win32=12029)"), std::string::npos)
      << "what the client can find out by itself: " << run.errorOutput;
  EXPECT_EQ(json(ctl(L"update signatures --json"))["done"], false);
  EXPECT_EQ(readFile(liveSignaturesPath()), database);
  EXPECT_FALSE(pathExists(liveSignaturesPath() + L".tmp"));
  EXPECT_EQ(settings().lastLiveUpdateUtc, time);
  EXPECT_EQ(threats(), Paths{first_});

  operate("/start");
  EXPECT_EQ(ctl(L"update signatures").exitCode, 0u) << "and the next one succeeds";
}

TEST_F(Update, InstallersAreFoundSavedAndShown) {
  startService();
  const std::wstring path = updatesDir() + L"\\KorvelSetup-1.3.0.exe";
  const Finished run = ctl(L"update program");
  EXPECT_EQ(run.exitCode, 0u) << run.errorOutput;
  EXPECT_EQ(run.output, "installer saved: " + toUtf8(path) + "\n");
  EXPECT_EQ(readFile(path), installerOf('a'));
  EXPECT_TRUE(logGets("[INF] self update: installer 1.3.0 saved to updates\n"));
  EXPECT_EQ(json(ctl(L"status --json"))["update"]["installer"], toUtf8(path));
  EXPECT_NE(ctl(L"status").output.find("installer saved: " + toUtf8(path) + "\n"), std::string::npos);

  publish("1.3.1", installerOf('b'));
  const std::wstring next = updatesDir() + L"\\KorvelSetup-1.3.1.exe";
  const auto arrives = [&] { return json(ctl(L"update program --json"))["installer"] == toUtf8(next); };
  EXPECT_TRUE(eventually(kServerCacheLimitMs, arrives));
  EXPECT_EQ(readFile(next), installerOf('b'));
  EXPECT_EQ(readFile(path), installerOf('a'));

  publish("1.2.0", installerOf('c'));
  const auto upToDate = [] { return ctl(L"update program").output == "up to date: version 1.2.0\n"; };
  EXPECT_TRUE(eventually(kServerCacheLimitMs, upToDate));
  EXPECT_EQ(status().updateCheckInstaller, "");
  EXPECT_FALSE(pathExists(updatesDir() + L"\\KorvelSetup-1.2.0.exe"));
}

TEST_F(Update, AFailedUpdateCheckTellsItsReason) {
  startService();
  ASSERT_EQ(ctl(L"update program").exitCode, 0u);
  operate("/stop");
  const Finished run = ctl(L"update program");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errorOutput,
            "korvelctl: program: the update check failed: WinHttpSendRequest, win32=12029\n");
  EXPECT_NE(ctl(L"status").output.find("the last check failed: WinHttpSendRequest, win32=12029\n"),
            std::string::npos);
  const Finished asJson = ctl(L"update program --json");
  EXPECT_EQ(asJson.exitCode, 2u);
  EXPECT_EQ(json(asJson)["errors"][0]["message"], "the update check failed: WinHttpSendRequest, win32=12029");
  EXPECT_EQ(status().updateCheckInstaller, "") << "what an earlier check saved is forgotten";
}

TEST_F(Update, SavedSettingsEmptyTheServersAddress) {
  startService();
  reply(ipc::Opcode::kSetConfig, ipc::encodeSettings(settings()));
  const Finished run = ctl(L"update program");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.errorOutput,
            "korvelctl: program: the update check failed: не задан сервер обновлений (строка UpdateServer в "
            "settings.ini)\n");
  EXPECT_NE(readFile(settingsPath()).find("\nUpdateServer=\n"), std::string::npos);
}

TEST_F(Update, ASecondOneIsRefusedWhileTheFirstRuns) {
  useServer(stalledServer());
  startService();
  EXPECT_EQ(ctl(L"update signatures --no-wait").output, "started\n");
  EXPECT_EQ(ctl(L"update program --no-wait").output, "started\n");
  for (const wchar_t* command : {L"update signatures", L"update program --no-wait"}) {
    const Finished run = ctl(command);
    EXPECT_EQ(run.exitCode, 2u);
    EXPECT_TRUE(run.errorOutput.starts_with("korvelctl: обновление уже выполняется\n")) << run.errorOutput;
  }
  EXPECT_TRUE(status().liveUpdateRunning);
  EXPECT_TRUE(status().updateCheckRunning);
  EXPECT_EQ(ctl(L"ping").exitCode, 0u) << "the pipe is free meanwhile";

  operate("/release");
  const auto ended = [this] { return !status().liveUpdateRunning && !status().updateCheckRunning; };
  EXPECT_TRUE(eventually(30'000, ended));
  EXPECT_EQ(status().updateCheckError, "http status 404");
}

TEST_F(Update, TheDiagnosticClientTellsTheOutcomeOfACheck) {
  startService();
  const auto check = [] { return runToEnd(serviceExecutable(), L"--update-check"); };
  Finished run = check();
  EXPECT_EQ(run.exitCode, 0u);
  const std::wstring path = updatesDir() + L"\\KorvelSetup-1.3.0.exe";
  EXPECT_EQ(run.output, "установщик скачан: " + toUtf8(path) + "\r\n");
  EXPECT_EQ(readFile(path), installerOf('a'));

  publish("1.2.0", installerOf('b'));
  EXPECT_TRUE(eventually(kServerCacheLimitMs, [&] {
    run = check();
    return run.output == "обновлений нет — версия актуальна\r\n";
  })) << run.output;
  EXPECT_EQ(run.exitCode, 0u);

  operate("/stop");
  run = check();
  EXPECT_EQ(run.exitCode, 3u);
  EXPECT_EQ(run.output, "обновление не удалось: WinHttpSendRequest, win32=12029\r\n");
}

TEST_F(Update, TheDiagnosticClientWaitsForACheckThatRunsAlready) {
  useServer(stalledServer());
  startService();
  EXPECT_EQ(reply(ipc::Opcode::kStartUpdateCheck), std::string("\1\0\0\0", 4));
  EXPECT_EQ(refusal(ipc::Opcode::kStartUpdateCheck), "обновление уже выполняется");
  ChildProcess client;
  client.start(serviceExecutable(), L"--update-check");
  const auto refusedAgain = [] { return logMentions("request failed: обновление уже выполняется\n") == 2; };
  ASSERT_TRUE(eventually(refusedAgain));
  ::Sleep(1'500);  // it polls once a second
  EXPECT_TRUE(client.running());
  EXPECT_EQ(client.output(), "");
  operate("/release");
  EXPECT_EQ(client.waitForExit(60'000), 3u);
  EXPECT_EQ(client.output(), "обновление не удалось: http status 404\r\n");
}

TEST_F(Update, TheShieldBlocksTheServersDomainsUntilItIsSwitchedOff) {
  writeSettings("WebShield=1\n");
  startService();
  const auto logged = [] {
    return log().find("[INF] web shield: blocked 2 domains (3 hosts entries)\n") != std::string::npos;
  };
  EXPECT_TRUE(eventually(kFirstShieldLimitMs, logged));
  EXPECT_EQ(hosts(), std::string(kUserLines) + "\n" + kBlock);
  EXPECT_EQ(json(ctl(L"shield status --json"))["enabled"], true);

  // The next run by itself is a day away.
  SettingsFields changed = settings();
  changed.webShield = false;
  reply(ipc::Opcode::kSetConfig, ipc::encodeSettings(changed));
  EXPECT_TRUE(hostsGetTheSizeOf(std::string(kUserLines) + "\n"));
  EXPECT_EQ(hosts(), std::string(kUserLines) + "\n");
  EXPECT_EQ(json(ctl(L"shield status --json"))["enabled"], false);
}

TEST_F(Update, ABlocklistAtTheLimitIsTakenWhole) {
  std::string domains;
  for (int i = 0; i < 30'000; ++i) domains += "d" + std::to_string(i) + ".example\n";
  publish("", "", "", domains);
  EXPECT_EQ(problems(), "");
  writeSettings("WebShield=1\n");
  startService();
  const auto logged = [] {
    return log().find("[INF] web shield: blocked 30000 domains (60000 hosts entries)\n") != std::string::npos;
  };
  EXPECT_TRUE(eventually(kFirstShieldLimitMs, logged));
}

TEST_F(Update, EveryListThatThePublisherCallsGoodIsTakenWhole) {
  startService();
  const std::string a = sha256Of("a");
  const std::string b = sha256Of("b");
  std::string upper;
  for (const char c : b) upper += static_cast<char>(c >= 'a' ? c - 'a' + 'A' : c);
  const std::string lists[] = {
      "# a list\r\n\r\n" + upper + " Some.Name\r\n\t" + a + "\tAnother\r\n",
      b + "\n" + a + "\n" + a + "\n" + upper,
      "#" + a + "\n  " + a + "  \n" + b + " #\n",
  };
  for (const std::string& list : lists) {
    publishAtOnce("", "", list);
    EXPECT_EQ(problems(), "");
    const Finished run = ctl(L"update signatures");
    EXPECT_EQ(run.exitCode, 0u) << run.errorOutput;
    EXPECT_EQ(liveHashes(), "SIZE 2\n" + std::min(a, b) + "\n" + std::max(a, b) + "\n") << list;
  }
}

TEST_F(Update, EveryVersionThatThePublisherCallsGoodIsSaved) {
  startService();
  for (const std::string version : {"1.3.1-rc1", "1.3.1", "1.10.0", "2026.11.22-a.b"}) {
    const std::string installer = installerOf('x') + version;
    publishAtOnce(version, installer);
    EXPECT_EQ(problems(), "");
    const Finished run = ctl(L"update program");
    EXPECT_EQ(run.exitCode, 0u) << run.errorOutput;
    EXPECT_EQ(readFile(updatesDir() + L"\\KorvelSetup-" + toWide(version) + L".exe"), installer);
  }
}

TEST_F(Update, WhatTheCheckNamesInSignaturesLeavesTheDatabaseInForce) {
  startService();
  ASSERT_EQ(ctl(L"update signatures").exitCode, 0u);
  const std::string database = readFile(liveSignaturesPath());
  const struct {
    const char* bytes;
    const char* named;
  } defects[] = {
      {"<!DOCTYPE html>\n<title>Not here</title>\n", "signatures: a web page"},
      {"", "signatures: no hash"},
      {"# nothing\n", "signatures: no hash"},
      {"0123456789abcdef\n", "signatures:1: not a SHA-256"},
  };
  for (const auto& defect : defects) {
    plant("signatures", defect.bytes);
    EXPECT_NE(problems().find(defect.named), std::string::npos) << problems();
    EXPECT_EQ(ctl(L"update signatures").exitCode, 2u) << defect.bytes;
    EXPECT_EQ(readFile(liveSignaturesPath()), database) << defect.bytes;
  }
}

TEST_F(Update, WhatTheCheckNamesInAReleaseFailsOrIsMisread) {
  startService();
  const std::string url = serverVariable("KORVEL_TEST_UPDATE_SERVER") + "/installers/none.exe";
  const auto release = [](const std::string& address) {
    return R"({"windows":{"version":"1.3.0","url":")" + address + R"("}})";
  };
  const struct {
    std::string document;
    std::string bytes;
    const char* named;
    const char* failure;
  } defects[] = {
      {"installer", "<html>" + std::string(70'000, ' '), "does not begin with MZ",
       "по ссылке не похоже на Windows-установщик"},
      {"installer", "MZ", "clients refuse fewer than 65,536", "по ссылке не похоже на Windows-установщик"},
      {"releases", "<html>Not here</html>", "no key \"windows\"", "в releases.json нет секции windows"},
      {"releases", R"({"windows":{"version":"1.3.0"},"android":{"url":"https://h/x"}})", "needs the strings",
       "в секции windows нет version/url"},
      {"releases", release(url), "is not there", "загрузка установщика: http status 404"},
      {"releases", release("ftp://h/x"), "http or https",
       "загрузка установщика: http(s) required: ftp://h/x"},
      {"releases", release("https:///x"), "no host", "загрузка установщика: "},
      {"releases", release("https://h:99999/x"), "port 99999", "загрузка установщика: "},
      {"releases", release("https://" + std::string(300, 'h') + "/x"), "no host name",
       "загрузка установщика: "},
  };
  for (const auto& defect : defects) {
    plant(defect.document, defect.bytes);
    EXPECT_NE(problems().find(defect.named), std::string::npos) << defect.named << ": " << problems();
    const Finished run = ctl(L"update program");
    EXPECT_EQ(run.exitCode, 2u) << defect.named;
    EXPECT_NE(run.errorOutput.find(defect.failure), std::string::npos) << run.errorOutput;
  }
  EXPECT_FALSE(pathExists(updatesDir() + L"\\KorvelSetup-1.3.0.exe"));
}

TEST_F(Update, AWordBeforeItsSectionLeadsTheServiceAstrayAndTheCheckNamesIt) {
  startService();
  std::string document;
  ASSERT_TRUE(httpGet(serverVariable("KORVEL_TEST_UPDATE_SERVER") + "/api/v1/releases", &document, nullptr));
  plant("releases", R"({"for":"windows","version":"7.7.7",)" + document.substr(document.find('{') + 1));
  EXPECT_NE(problems().find("the word \"windows\" stands in quotes before its section"), std::string::npos);
  EXPECT_EQ(ctl(L"update program").exitCode, 0u);
  EXPECT_TRUE(pathExists(updatesDir() + L"\\KorvelSetup-7.7.7.exe"));
}

TEST_F(Update, SwitchingTheShieldOffDoesNotWaitForItsFirstRun) {
  writeFile(hostsFilePath(), std::string(kUserLines) + kBlock);
  writeSettings("WebShield=1\n");
  startService();
  SettingsFields changed = settings();
  changed.webShield = false;
  reply(ipc::Opcode::kSetConfig, ipc::encodeSettings(changed));
  EXPECT_TRUE(hostsGetTheSizeOf(kUserLines));
  EXPECT_EQ(hosts(), kUserLines);
}

}  // namespace
}  // namespace korvel::test

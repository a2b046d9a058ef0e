// korvelctl service: the registration in Windows, its rights, starting and stopping.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/paths.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"
#include "fw/fake/fake_firewall.h"
#include "korvelctl/machine/event_log.h"
#include "korvelctl/machine/folder_rights.h"
#include "korvelctl/machine/service_manager.h"
#include "remedy/hosts_block.h"
#include "remedy/hosts_file.h"
#include "remedy/quarantine_index.h"

namespace korvel::test {
namespace {

using nlohmann::json;

class ControlService : public ServiceTest {
 protected:
  void TearDown() override {
    ctl(L"uninstall --yes");
    ServiceTest::TearDown();
  }

  static Finished ctl(const std::wstring& arguments) {
    return runToEnd(controlExecutable(), L"service " + arguments + L" --lang en", 200'000);
  }
  static json document(const std::wstring& arguments, DWORD exitCode) {
    const Finished run = ctl(arguments + L" --json");
    EXPECT_EQ(run.exitCode, exitCode) << run.output << run.errorOutput;
    return json::parse(run.output);
  }
  static std::string state() { return json::parse(ctl(L"state --json").output)["state"]; }
  static json stepOf(const json& document, const std::string& id) {
    for (const json& step : document["steps"]) {
      if (step["step"] == id) return step;
    }
    ADD_FAILURE() << "no step " << id << " in " << document.dump();
    return {};
  }
  static bool everyoneMayChange(const std::wstring& path) {
    ctl::AccessList list;
    EXPECT_EQ(ctl::readAccessList(path, list), 0u) << toUtf8(path);
    const auto problems = ctl::accessProblems(list, ctl::ProtectedFolder::kData);
    return std::any_of(problems.begin(), problems.end(),
                       [](const ctl::AccessProblem& problem) { return problem.account == "S-1-1-0"; });
  }
};

TEST_F(ControlService, InstallsStartsShowsStopsAndRemoves) {
  EXPECT_EQ(state(), "not_installed");
  const json installed = document(L"install", 0);
  EXPECT_EQ(installed["schema"], "korvel.service/1");
  EXPECT_EQ(installed["done"], true);
  EXPECT_EQ(stepOf(installed, "service")["created"], true);
  EXPECT_EQ(stepOf(installed, "service")["program"], toUtf8(serviceExecutable()));
  EXPECT_EQ(installed["errors"], json::array());
  EXPECT_TRUE(ctl::eventSourceRegistered());

  const json stopped = document(L"state", 3);
  EXPECT_EQ(stopped["state"], "stopped");
  EXPECT_EQ(stopped["command_line"], "\"" + toUtf8(serviceExecutable()) + "\"");
  EXPECT_EQ(stopped["start"], "automatic");
  EXPECT_EQ(stopped["faults"], json::array());

  EXPECT_EQ(document(L"start", 0)["result"], "started");
  EXPECT_EQ(state(), "running");
  EXPECT_EQ(status().signatureCount, 1u) << "the service answers";
  EXPECT_EQ(document(L"start", 0)["result"], "was_running");
  const uint64_t before = json::parse(ctl(L"state --json").output)["process_id"];
  const json restarted = document(L"restart", 0);
  EXPECT_EQ(restarted["result"], "stopped");
  EXPECT_NE(restarted["process_id"], before);
  EXPECT_EQ(status().signatureCount, 1u);

  EXPECT_EQ(document(L"stop --yes", 0)["result"], "stopped");
  EXPECT_EQ(state(), "stopped");
  EXPECT_EQ(document(L"stop --yes", 0)["result"], "was_stopped");

  const json removed = document(L"uninstall --yes", 0);
  EXPECT_EQ(stepOf(removed, "service")["was_installed"], true);
  EXPECT_EQ(state(), "not_installed");
  EXPECT_FALSE(ctl::eventSourceRegistered());
  EXPECT_EQ(stepOf(document(L"uninstall --yes", 0), "service")["was_installed"], false)
      << "twice is no error";
}

TEST_F(ControlService, AnUninstallationStopsARunningServiceFirst) {
  document(L"install", 0);
  document(L"start", 0);
  EXPECT_EQ(stepOf(document(L"uninstall --yes", 0), "service")["result"], "stopped");
  EXPECT_TRUE(logGets("[INF] workers stopped\n"));
  EXPECT_EQ(state(), "not_installed");
  EXPECT_TRUE(pathExists(settingsPath())) << "the data stays";
}

TEST_F(ControlService, InstallingClosesTheFoldersAndInstallingAgainRepairsThem) {
  writeFile(dataDir() + L"\\Quarantine\\quarantine.db", "KORVELQUARANTINE/1\n");
  const std::wstring program = parentDirectory(serviceExecutable());
  for (int round = 0; round < 2; ++round) {
    const json installed = document(L"install", 0);
    EXPECT_EQ(stepOf(installed, "service")["created"], round == 0);
    for (const std::wstring& path :
         {program, serviceExecutable(), dataDir(), settingsPath(), dataDir() + L"\\Quarantine",
          dataDir() + L"\\Quarantine\\quarantine.db"}) {
      EXPECT_FALSE(everyoneMayChange(path)) << toUtf8(path);
    }
    // Somebody opens it again.
    ASSERT_EQ(ctl::releaseFolder(dataDir()), 0u);
  }
  document(L"start", 0);
  EXPECT_EQ(status().signatureCount, 1u) << "the service can still read and write its own";
}

TEST_F(ControlService, LeavesTheRightsAloneWhenToldTo) {
  const json installed = document(L"install --no-rights", 0);
  for (const json& step : installed["steps"]) EXPECT_FALSE(step.contains("path")) << step.dump();
  EXPECT_FALSE(pathExists(dataDir() + L"\\Quarantine"));
}

TEST_F(ControlService, ADryRunChangesNothing) {
  wipeServiceData();
  const json would = document(L"install --dry-run", 0);
  EXPECT_EQ(would["done"], false);
  EXPECT_EQ(stepOf(would, "data")["path"], "C:\\ProgramData\\KORVEL Antivirus");
  EXPECT_EQ(state(), "not_installed");
  EXPECT_FALSE(pathExists(L"C:\\ProgramData\\KORVEL Antivirus"));
  EXPECT_FALSE(ctl::eventSourceRegistered());
  document(L"install", 0);
  EXPECT_EQ(document(L"uninstall --dry-run", 0)["done"], false);
  const auto trial = document(L"start --dry-run", 0);
  EXPECT_EQ(trial["done"], false);
  EXPECT_EQ(trial["result"], "dry_run");
  EXPECT_EQ(state(), "stopped");
}

TEST_F(ControlService, AsksBeforeItStopsOrRemoves) {
  document(L"install", 0);
  document(L"start", 0);
  for (const wchar_t* command : {L"stop", L"uninstall"}) {
    const json refusal = document(command, 64);
    EXPECT_EQ(refusal["schema"], "korvel.error/1");
    EXPECT_NE(refusal["error"]["message"].get<std::string>().find("--yes"), std::string::npos);
  }
  EXPECT_EQ(state(), "running");
}

TEST_F(ControlService, WhatIsNotInstalledCannotBeStarted) {
  for (const wchar_t* command : {L"start", L"stop --yes", L"restart"}) {
    const json refusal = document(command, 3);
    EXPECT_EQ(refusal["error"]["kind"], "not_installed") << toUtf8(command);
    EXPECT_EQ(refusal["error"]["win32"], 1060);
  }
}

TEST_F(ControlService, AServiceThatCannotStartSaysWhereTheReasonIs) {
  writeSettings("ScheduledHour=x\n");
  document(L"install", 0);
  const json refusal = document(L"start", 2);
  EXPECT_EQ(refusal["error"]["kind"], "refused");
  EXPECT_NE(refusal["error"]["message"].get<std::string>().find("1066/0"), std::string::npos);
  EXPECT_NE(refusal["error"]["advice"].get<std::string>().find("config lint"), std::string::npos);
  EXPECT_EQ(document(L"state", 3)["exit_code"], 1066);
}

TEST_F(ControlService, ProtectsNoFolderThatIsNotTheServicesAlone) {
  const json refusal = document(L"install --path C:\\windows\\notepad.exe", 2);
  EXPECT_EQ(refusal["error"]["kind"], "guard");
  EXPECT_EQ(state(), "not_installed") << "nothing is half done";
  EXPECT_EQ(document(L"install --path C:\\windows", 64)["error"]["kind"], "usage");
  EXPECT_EQ(document(L"install --path C:\\nowhere\\KorvelService.exe", 64)["error"]["kind"], "usage");
}

TEST_F(ControlService, TranslatesADriveLetterThatTheServiceCannotSee) {
  ASSERT_TRUE(::DefineDosDeviceW(0, L"Q:", parentDirectory(serviceExecutable()).c_str()));
  const json installed = document(L"install --path Q:\\KorvelService.exe --no-rights", 0);
  ::DefineDosDeviceW(DDD_REMOVE_DEFINITION, L"Q:", nullptr);
  EXPECT_EQ(stepOf(installed, "service")["program"], toUtf8(serviceExecutable()));
}

// --- what an installation and a removal change besides ---

class ControlServiceExtras : public ControlService {
 protected:
  void SetUp() override {
    ControlService::SetUp();
    hosts_ = readFile(hostsFilePath());
  }
  void TearDown() override {
    ControlService::TearDown();
    writeFile(hostsFilePath(), hosts_);
  }
  static std::string settingsText() { return readFile(settingsPath()); }
  static std::wstring path() {
    std::wstring text(32'768, L'\0');
    DWORD bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    EXPECT_EQ(::RegGetValueW(
                  HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
                  L"Path", RRF_RT_REG_EXPAND_SZ | RRF_RT_REG_SZ | RRF_NOEXPAND, nullptr, text.data(), &bytes),
              ERROR_SUCCESS);
    return std::wstring(text.c_str());
  }
  static bool hasStep(const json& document, const std::string& id) {
    return std::any_of(document["steps"].begin(), document["steps"].end(),
                       [&id](const json& step) { return step["step"] == id; });
  }

  std::string hosts_;
};

TEST_F(ControlServiceExtras, AnUpdateServerIsConfiguredWhereNoneIs) {
  writeSettings("UpdateServer=\n");
  const json installed = document(L"install --server http://127.0.0.1:8", 0);
  EXPECT_EQ(stepOf(installed, "update_server")["written"], true);
  EXPECT_NE(settingsText().find("\nUpdateServer=http://127.0.0.1:8\n"), std::string::npos);
  EXPECT_NE(settingsText().find("\nLiveUpdates=0\n"), std::string::npos) << "the others stay";
  document(L"start", 0);
  EXPECT_EQ(status().signatureCount, 1u);
}

TEST_F(ControlServiceExtras, AnUpdateServerThatIsConfiguredStays) {
  writeSettings("UpdateServer=http://127.0.0.1:9\n");
  const std::string before = settingsText();
  const json installed = document(L"install --server http://127.0.0.1:8", 0);
  EXPECT_EQ(stepOf(installed, "update_server")["server"], "http://127.0.0.1:9");
  EXPECT_EQ(settingsText(), before);
}

TEST_F(ControlServiceExtras, SettingsAreMadeForAnUpdateServer) {
  wipeServiceData();
  document(L"install --server https://updates.invalid", 0);
  const std::string text = settingsText();
  EXPECT_NE(text.find("\nUpdateServer=https://updates.invalid\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\nSignatureDb=" + toUtf8(parentDirectory(serviceExecutable())) +
                      "\\data\\signatures.seed.txt\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("\nProtectionEnabled=1\n"), std::string::npos) << text;
}

TEST_F(ControlServiceExtras, AnUpdateServerIsRefusedWhileTheServiceRuns) {
  writeSettings("UpdateServer=\n");
  document(L"install", 0);
  document(L"start", 0);
  EXPECT_EQ(document(L"install --server http://127.0.0.1:8", 2)["error"]["kind"], "guard");
  EXPECT_EQ(document(L"install --server nonsense", 64)["error"]["kind"], "usage");
  document(L"stop --yes", 0);
  EXPECT_EQ(settingsText().find("127.0.0.1:8"), std::string::npos);
}

TEST_F(ControlServiceExtras, SettingsThatTheServiceCannotReadAreLeftAlone) {
  writeSettings("UpdateServer=\nScheduledHour=x\n");
  const std::string before = settingsText();
  const json installed = document(L"install --server http://127.0.0.1:8", 2);
  EXPECT_EQ(installed["errors"][0]["item"], "update_server");
  EXPECT_EQ(settingsText(), before);
}

TEST_F(ControlServiceExtras, TheProgramFolderEntersPathAndLeavesIt) {
  const std::wstring before = path();
  const std::wstring folder = parentDirectory(serviceExecutable());
  document(L"install --add-to-path --dry-run", 0);
  EXPECT_EQ(path(), before);
  document(L"install --add-to-path", 0);
  EXPECT_EQ(path(), before + L";" + folder);
  EXPECT_EQ(stepOf(document(L"install --add-to-path", 0), "path")["changed"], false);
  document(L"uninstall --dry-run", 0);
  EXPECT_EQ(path(), before + L";" + folder);
  EXPECT_EQ(stepOf(document(L"uninstall --yes", 0), "path")["changed"], true);
  EXPECT_EQ(path(), before);
}

TEST_F(ControlServiceExtras, ARemovalTakesTheHostsBlockOut) {
  const std::string own = "10.0.0.1 printer\n";
  writeFile(hostsFilePath(), own);
  std::string error;
  ASSERT_TRUE(applyBlocklist({"bad.example"}, &error)) << error;
  document(L"install", 0);
  document(L"start", 0);
  const std::string blocked = readFile(hostsFilePath());
  EXPECT_EQ(stepOf(document(L"uninstall --dry-run", 0), "hosts")["entries"], 2);
  EXPECT_EQ(readFile(hostsFilePath()), blocked);
  EXPECT_EQ(stepOf(document(L"uninstall --yes", 0), "hosts")["entries"], 2);
  EXPECT_EQ(readFile(hostsFilePath()).substr(0, own.size()), own);
  EXPECT_FALSE(mentionsHostsBlock(readFile(hostsFilePath())));
  EXPECT_FALSE(hasStep(document(L"uninstall --yes", 0), "hosts"));
}

TEST_F(ControlServiceExtras, ARemovalTakesTheFirewallRulesOut) {
  const auto rule = [](const wchar_t* name) {
    fwfake::Element element;
    element.name = name;
    element.application = L"C:\\a.exe";
    return element;
  };
  fwfake::FakeFirewall firewall;
  fwfake::State before;
  before.profiles = {{1, -1}, {2, -1}, {4, -1}};
  before.elements = {rule(L"other"), rule(L"KORVEL: a.exe (in)")};
  firewall.set(before);
  EXPECT_EQ(stepOf(document(L"uninstall --dry-run", 0), "firewall")["removed"], false);
  EXPECT_EQ(firewall.state().elements.size(), 2u);
  EXPECT_EQ(stepOf(document(L"uninstall --yes", 0), "firewall")["removed"], true);
  ASSERT_EQ(firewall.state().elements.size(), 1u);
  EXPECT_EQ(firewall.state().elements[0].name, L"other");
}

TEST_F(ControlServiceExtras, AFirewallThatCannotBeAskedDoesNotKeepTheServiceOnTheMachine) {
  document(L"install", 0);
  const json step = stepOf(document(L"uninstall --yes", 0), "firewall");
  EXPECT_EQ(step["removed"], false);
  EXPECT_NE(step["reason"], "");
  EXPECT_EQ(state(), "not_installed");
}

TEST_F(ControlServiceExtras, APurgeRemovesTheDataAndTheCacheBesideThem) {
  const std::wstring stray = dataDir() + L"scan.cache";
  writeFile(stray, "x");
  writeFile(dataDir() + L"\\Quarantine\\quarantine.db", "KORVELQUARANTINE/1\n");
  document(L"install", 0);
  EXPECT_EQ(stepOf(document(L"uninstall --purge --dry-run", 0), "cache")["path"], toUtf8(stray));
  EXPECT_TRUE(pathExists(stray));
  const json removed = document(L"uninstall --purge --yes", 0);
  EXPECT_EQ(stepOf(removed, "data")["path"], "C:\\ProgramData\\KORVEL Antivirus");
  EXPECT_FALSE(pathExists(L"C:\\ProgramData\\KORVEL Antivirus"));
  EXPECT_FALSE(pathExists(stray));
  EXPECT_EQ(document(L"uninstall --purge", 64)["error"]["kind"], "usage") << "asks first";
}

TEST_F(ControlServiceExtras, APurgeLeavesAQuarantineElsewhere) {
  TempFolder elsewhere;
  writeSettings("QuarantineDir=" + toUtf8(elsewhere.path()) + "\n");
  elsewhere.write(L"1_stored", "x");
  document(L"install", 0);
  EXPECT_EQ(stepOf(document(L"uninstall --purge --yes", 0), "quarantine")["path"], toUtf8(elsewhere.path()));
  EXPECT_TRUE(pathExists(elsewhere.at(L"1_stored")));
}

TEST_F(ControlServiceExtras, TheNamesInTheQuarantineAreListedWithoutTheService) {
  const auto names = [](const std::wstring& arguments) {
    const Finished run =
        runToEnd(controlExecutable(), L"quarantine names --json --lang en " + arguments, 30'000);
    EXPECT_EQ(run.exitCode, 0u) << run.output << run.errorOutput;
    return json::parse(run.output);
  };
  wipeServiceData();
  EXPECT_EQ(names(L"")["total"], 0);
  std::vector<QuarantineRecord> records(3);
  for (uint64_t i = 0; i < 3; ++i) {
    records[i].id = i + 1;
    records[i].time = 100 + i;
    records[i].originalPath = L"C:\\Иван\\" + std::to_wstring(i) + L".exe";
  }
  writeFile(dataDir() + L"\\Quarantine\\quarantine.db", formatQuarantineIndex(records));
  const json all = names(L"");
  EXPECT_EQ(all["names"], (json{"C:\\Иван\\2.exe", "C:\\Иван\\1.exe", "C:\\Иван\\0.exe"}));
  TempFolder folder;
  const json some = names(L"--limit 1 -o " + folder.at(L"names.txt"));
  EXPECT_EQ(some["names"].size(), 1u);
  EXPECT_EQ(some["total"], 3);
  const std::string bytes = readFile(folder.at(L"names.txt"));
  const std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
  EXPECT_EQ(text,
            L"\xFEFF"
            L"C:\\Иван\\2.exe\r\n… and 2 more\r\n");
}

TEST_F(ControlService, EndsTheProcessOfAServiceThatDoesNotStop) {
  document(L"install", 0);
  document(L"start", 0);
  const DWORD id = json::parse(ctl(L"state --json").output)["process_id"];
  const UniqueHandle process(::OpenProcess(PROCESS_SUSPEND_RESUME | SYNCHRONIZE, FALSE, id));
  using Suspend = LONG(WINAPI*)(HANDLE);
  const auto suspend = reinterpret_cast<Suspend>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtSuspendProcess")));
  ASSERT_NE(suspend, nullptr);
  ASSERT_EQ(suspend(process.get()), 0);
  EXPECT_EQ(document(L"stop --yes --wait 1 --kill", 0)["result"], "killed");
  EXPECT_EQ(::WaitForSingleObject(process.get(), 10'000), static_cast<DWORD>(WAIT_OBJECT_0));
}

}  // namespace
}  // namespace korvel::test

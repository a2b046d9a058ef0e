// korvelctl service: the registration in Windows, its rights, starting and stopping.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/paths.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"
#include "korvelctl/machine/event_log.h"
#include "korvelctl/machine/folder_rights.h"
#include "korvelctl/machine/service_manager.h"

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
  EXPECT_EQ(document(L"start --dry-run", 0)["done"], false);
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

// korvelctl config, status, reload, stop and update, as far as they need no server.
#include "base/files.h"
#include "config/data_paths.h"
#include "e2e/control_client.h"
#include "e2e/service_manager.h"
#include "e2e/sample_files.h"

namespace korvel::test {
namespace {

class SettingsCommand : public ControlClient {};

TEST_F(SettingsCommand, ShowsEverySettingWithItsMeaning) {
  startService();
  const Finished text = ctl(L"config list");
  EXPECT_EQ(text.exitCode, 0u);
  EXPECT_TRUE(has(text.output, "KEY")) << text.output;
  EXPECT_TRUE(has(text.output, "04:00 UTC")) << text.output;
  EXPECT_TRUE(has(text.output, "the service does nothing with it"));
  EXPECT_EQ(ctl(L"config get webshield").output, "0\n") << "keys in any case";
  EXPECT_EQ(ctl(L"config get WebShield ScheduledHour").output, "WebShield=0\nScheduledHour=4\n");
  const auto list = json(L"config list");
  EXPECT_EQ(list["schema"], "korvel.config/1");
  EXPECT_EQ(list["settings"].size(), 16u);
  EXPECT_EQ(list["settings"]["ScheduledHour"], 4);
  EXPECT_EQ(list["settings"]["UpdateServer"], "");
  EXPECT_EQ(ctl(L"config get Nonsense").exitCode, 64u);
}

TEST_F(SettingsCommand, SetChangesWhatWasMeantAndNothingElse) {
  startService();
  const SettingsFields before = settings();
  const auto set = json(L"config set scheduledhour=22 RealTimeEnabled=on");
  EXPECT_EQ(set["done"], true) << set.dump();
  EXPECT_EQ(set["changes"][0]["key"], "ScheduledHour");
  EXPECT_EQ(set["changes"][0]["before"], 4);
  EXPECT_EQ(set["changes"][0]["after"], 22);
  EXPECT_EQ(set["changes"][1]["restart_needed"], true);
  SettingsFields expected = before;
  expected.scheduledHour = 22;
  expected.realTimeEnabled = true;
  EXPECT_EQ(settings(), expected);
  const Finished same = ctl(L"config set ScheduledHour=22");
  EXPECT_EQ(same.output, "ScheduledHour is 22 already\n");
}

TEST_F(SettingsCommand, SetRefusesWhatTheServiceWouldMisread) {
  startService();
  const SettingsFields before = settings();
  for (const wchar_t* wrong :
       {L"ScheduledHour=24", L"ScheduledHour=-1", L"ScheduledHour=4x", L"ScheduledHour=", L"WebShield=maybe",
        L"QuarantineDir=relative", L"SignatureDb=", L"LastScanUtc=0", L"LastThreatCount=0",
        L"LastLiveUpdateUtc=0", L"UpdateServer=http://127.0.0.1", L"Nonsense=1", L"WebShield"}) {
    const Finished run = ctl(std::wstring(L"--json config set ") + wrong);
    EXPECT_EQ(run.exitCode, 64u) << toUtf8(wrong);
    EXPECT_EQ(parsed(run)["error"]["kind"], "usage") << toUtf8(wrong);
  }
  EXPECT_EQ(ctl(L"config set ScheduledHour=5 WebShield=maybe").exitCode, 64u);
  EXPECT_TRUE(has(ctl(L"config set ScheduledHuor=5").errorOutput, "did you mean 'ScheduledHour'?"));
  EXPECT_EQ(settings(), before) << "all or nothing";
}

TEST_F(SettingsCommand, TheUpdateServerIsNotForgottenUnasked) {
  writeSettings("UpdateServer=http://127.0.0.1:9/korvel\n");
  startService();
  EXPECT_EQ(ctl(L"config get UpdateServer").output, "http://127.0.0.1:9/korvel\n");
  const Finished refused = ctl(L"--json config set ScheduledHour=9");
  EXPECT_EQ(refused.exitCode, 2u);
  EXPECT_EQ(parsed(refused)["error"]["kind"], "guard");
  EXPECT_TRUE(has(parsed(refused)["error"]["message"].get<std::string>(), "127.0.0.1:9"));
  EXPECT_EQ(settings().scheduledHour, 4u);
  EXPECT_TRUE(has(readFile(settingsPath()), "UpdateServer=http://127.0.0.1:9/korvel\n"));
  EXPECT_EQ(ctl(L"config set ScheduledHour=4").exitCode, 0u) << "nothing is sent when nothing changes";
  EXPECT_TRUE(has(readFile(settingsPath()), "UpdateServer=http://127.0.0.1:9/korvel\n"));

  const auto accepted = json(L"config set ScheduledHour=9 --accept-server-reset");
  EXPECT_EQ(accepted["update_server"]["before"], "http://127.0.0.1:9/korvel");
  EXPECT_EQ(accepted["update_server"]["kept"], false);
  EXPECT_EQ(settings().scheduledHour, 9u);
  EXPECT_TRUE(has(readFile(settingsPath()), "UpdateServer=\n"));
}

TEST_F(SettingsCommand, KeepServerPutsTheUpdateServerBackAndTheServiceRunsAgain) {
  writeSettings("UpdateServer=http://127.0.0.1:9/korvel\nScanArchives=1\n");
  const Finished stopped = ctl(L"--json config set ScheduledHour=9 --keep-server --timeout 0");
  EXPECT_EQ(stopped.exitCode, 3u) << "there is nobody to ask";
  RegisteredService service;
  ASSERT_TRUE(service.start());
  (void)service.waitFor(SERVICE_RUNNING);
  const DWORD before = service.status().dwProcessId;
  const auto kept = json(L"config set ScheduledHour=9 --keep-server");
  EXPECT_EQ(kept["done"], true) << kept.dump();
  EXPECT_EQ(kept["update_server"]["kept"], true) << kept.dump();
  EXPECT_EQ(kept["changes"][0]["after"], 9);
  EXPECT_EQ(service.status().dwCurrentState, static_cast<DWORD>(SERVICE_RUNNING));
  EXPECT_NE(service.status().dwProcessId, before) << "it has been started again";
  const std::string file = readFile(settingsPath());
  EXPECT_TRUE(has(file, "UpdateServer=http://127.0.0.1:9/korvel\n")) << file;
  EXPECT_TRUE(has(file, "ScheduledHour=9\n")) << file;
  EXPECT_TRUE(has(file, "ScanArchives=1\n")) << "what was not meant stays: " << file;
  EXPECT_EQ(ctl(L"config get UpdateServer").output, "http://127.0.0.1:9/korvel\n");
}

TEST_F(SettingsCommand, KeepServerIsRefusedForAServiceThatTheManagerDoesNotRun) {
  writeSettings("UpdateServer=http://127.0.0.1:9/korvel\n");
  startService();
  const std::string before = readFile(settingsPath());
  const Finished run = ctl(L"--json config set ScheduledHour=9 --keep-server");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(parsed(run)["error"]["kind"], "guard");
  EXPECT_EQ(settings().scheduledHour, 4u);
  EXPECT_EQ(readFile(settingsPath()), before) << "a refusal leaves the file as it is";
}

TEST_F(SettingsCommand, DryRunChangesNothing) {
  startService();
  const Finished run = ctl(L"config set ScheduledHour=9 --dry-run");
  EXPECT_TRUE(run.output.starts_with("would change ScheduledHour: 4 -> 9\n")) << run.output;
  EXPECT_EQ(settings().scheduledHour, 4u);
}

TEST_F(SettingsCommand, StatusTellsAndItsCheckHasAnExitCode) {
  startService();
  const Finished text = ctl(L"status");
  EXPECT_EQ(text.exitCode, 0u);
  EXPECT_TRUE(text.output.starts_with("Service ")) << text.output;
  EXPECT_TRUE(has(text.output, "answers, version 1.2.0"));
  EXPECT_TRUE(has(text.output, "1, database e2e-1, never updated"));
  const Finished check = ctl(L"--json status --check");
  EXPECT_EQ(check.exitCode, 2u) << "real-time protection is off in these tests";
  EXPECT_EQ(parsed(check)["schema"], "korvel.status/1");
  EXPECT_EQ(parsed(check)["signatures"]["count"], 1);
  EXPECT_EQ(parsed(check)["problems"][0]["id"], "real_time_off");
}

TEST_F(SettingsCommand, StatusDoesNotCallAServiceWithoutSignaturesProtection) {
  writeSettings("RealTimeEnabled=1\nSignatureDb=C:\\missing.txt\n");
  startService();
  const Finished run = ctl(L"status --check");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_TRUE(has(run.output, "without signatures it protects nothing")) << run.output;
}

TEST_F(SettingsCommand, StatusCheckPassesWhenAllIsWell) {
  writeSettings("RealTimeEnabled=1\n");
  startService();
  const Finished run = ctl(L"status --check");
  EXPECT_EQ(run.exitCode, 0u) << run.output;
}

TEST_F(SettingsCommand, ReloadSaysHowManySignaturesThereAre) {
  startService();
  EXPECT_EQ(ctl(L"reload").output, "signatures reloaded: 1, database e2e-1\n");
  EXPECT_EQ(json(L"reload")["signatures"]["count"], 1);
  EXPECT_EQ(json(L"update reload")["what"], "reload");
}

TEST_F(SettingsCommand, StopAsksFirst) {
  startService();
  EXPECT_EQ(ctl(L"stop").exitCode, 64u);
  EXPECT_EQ(ctl(L"stop --dry-run").output, "would stop the service\n");
  EXPECT_TRUE(service().running());
  EXPECT_EQ(json(L"stop --yes")["done"], true);
  EXPECT_EQ(service().waitForExit(20'000), 0u);
}

TEST_F(SettingsCommand, PingMeasuresAsOftenAsItIsTold) {
  startService();
  EXPECT_EQ(json(L"ping --count 3")["pings"].size(), 3u);
  EXPECT_EQ(ctl(L"ping --count 0").exitCode, 64u);
}

}  // namespace
}  // namespace korvel::test

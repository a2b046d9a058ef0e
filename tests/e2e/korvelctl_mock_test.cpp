// korvelctl with korvelmock in the place of the service: what a real service can hardly be made to do.
#include "e2e/control_client.h"

namespace korvel::test {
namespace {

/// korvelmock.exe beside this program.
std::wstring mockExecutable() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(::GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
  return path.substr(0, path.find_last_of(L'\\') + 1) + L"korvelmock.exe";
}

class ControlMock : public ControlClient {
 protected:
  /// Returns once its pipe is there.
  void play(const std::wstring& arguments) {
    mock_.kill();
    mock_.start(mockExecutable(), arguments);
    ASSERT_TRUE(eventually([this] { return has(mock_.output(), " is open\n"); })) << mock_.errorOutput();
  }
  ChildProcess& mock() { return mock_; }
  std::wstring scanFolder() const { return L"scan " + quoted(folder().path()); }

 private:
  ChildProcess mock_;
};

TEST_F(ControlMock, TenThousandResultsOfAScanAreListed) {
  play(L"--scene scan");
  const Finished run = ctl(L"--json " + scanFolder());
  EXPECT_EQ(run.exitCode, 1u) << run.errorOutput;
  const auto report = parsed(run);
  EXPECT_EQ(report["outcome"], "completed");
  EXPECT_EQ(report["threats"].size(), 10'000u);
}

TEST_F(ControlMock, EndsOfAScanAreToldApart) {
  const struct {
    const wchar_t* scene;
    const char* outcome;
    DWORD exitCode;
  } ends[] = {{L"failed", "failed", 5}, {L"stopped", "stopped", 1}, {L"nothing", "nothing_examined", 5}};
  for (const auto& end : ends) {
    play(std::wstring(L"--scene ") + end.scene);
    const Finished run = ctl(L"--json " + scanFolder());
    EXPECT_EQ(run.exitCode, end.exitCode) << end.outcome << run.errorOutput;
    EXPECT_EQ(parsed(run)["outcome"], end.outcome);
  }
}

TEST_F(ControlMock, SlowAnswersInPiecesAreWaitedFor) {
  play(L"--scene slow");
  const Finished run = ctl(L"--json ping");
  EXPECT_EQ(run.exitCode, 0u) << run.errorOutput;
}

TEST_F(ControlMock, ABrokenConnectionEndsWith4AndTheNextOneServes) {
  play(L"--scene dropped");
  for (int i = 0; i < 3; ++i) {
    const Finished run = ctl(L"--json raw GetStatus");
    EXPECT_EQ(run.exitCode, 4u) << i;
    EXPECT_EQ(parsed(run)["error"]["kind"], "lost") << i;
  }
  EXPECT_EQ(ctl(L"status").exitCode, 0u);
  EXPECT_EQ(ctl(L"threats").exitCode, 4u);
  EXPECT_EQ(ctl(L"threats").exitCode, 0u);
}

TEST_F(ControlMock, AnswersThatAreNoneEndWith4) {
  play(L"--scene garbage");
  for (int i = 0; i < 7; ++i) {
    const Finished run = ctl(L"--json ping");
    EXPECT_EQ(run.exitCode, 4u) << i;
    EXPECT_EQ(parsed(run)["schema"], "korvel.error/1") << i;
  }
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
}

TEST_F(ControlMock, AnotherVersionOfTheProtocolEndsWith4) {
  play(L"--scene version2");
  EXPECT_EQ(parsed(ctl(L"--json status"))["error"]["kind"], "protocol");
}

TEST_F(ControlMock, ANewerServiceIsUnderstood) {
  play(L"--scene newer");
  EXPECT_EQ(json(L"status")["service"]["version"], "9.0.0") << json(L"status");
  const Finished run = ctl(L"--json " + scanFolder());
  EXPECT_EQ(run.exitCode, 1u) << run.errorOutput;
  EXPECT_EQ(parsed(run)["threats"].size(), 1u);
}

TEST_F(ControlMock, AnOlderServiceRefusesWhatItDoesNotKnow) {
  play(L"--scene older");
  const Finished run = ctl(L"--json update signatures");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(parsed(run)["error"]["message"], "unsupported opcode 14");
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
}

TEST_F(ControlMock, RefusalsAreShown) {
  play(L"--scene refusals");
  for (const char* text : {"malformed StartScan payload", "service is stopping", "protection is disabled",
                           "a scan is already running"}) {
    const Finished run = ctl(L"--json " + scanFolder());
    EXPECT_EQ(run.exitCode, 2u) << text;
    EXPECT_EQ(parsed(run)["error"]["message"], text);
  }
}

TEST_F(ControlMock, ABusyPipeIsWaitedForWithinTheTimeOut) {
  play(L"--scene busy --pipe KorvelMockTest");
  EXPECT_EQ(parsed(ctl(L"--json ping --pipe KorvelMockTest --timeout 0"))["error"]["kind"], "busy");
  EXPECT_EQ(ctl(L"ping --pipe KorvelMockTest --timeout 60").exitCode, 0u);
  EXPECT_EQ(ctl(L"raw StopService --yes --pipe KorvelMockTest").exitCode, 0u);
  EXPECT_EQ(mock().waitForExit(60'000), 0u);
}

TEST_F(ControlMock, TheLastConnectionEndsIt) {
  play(L"--scene fresh --connections 2");
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
  EXPECT_TRUE(mock().running());
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
  EXPECT_EQ(mock().waitForExit(60'000), 0u);
  EXPECT_TRUE(has(mock().errorOutput(), "Ping, 0 bytes: reply, 4 bytes")) << mock().errorOutput();
}

// clients/powershell cannot be executed here; this much of it can be known.
TEST_F(ControlMock, CommandsOfThePowerShellModuleHaveTheFieldsThatItReads) {
  folder().write(L"eicar.com", "x");
  folder().write(L"Загрузки\\счёт №7.pdf.exe", "x");
  play(L"--scene found");
  EXPECT_EQ(json(scanFolder())["outcome"], "completed");
  const auto threats = json(L"threats list --all")["threats"];
  ASSERT_EQ(threats.size(), 3u);
  EXPECT_EQ(threats[1]["n"], 2);
  EXPECT_EQ(threats[1]["severity"], "high");
  EXPECT_EQ(threats[1]["state"], "present");
  const auto stored = json(L"threats quarantine --yes 1 2")["items"];
  ASSERT_EQ(stored.size(), 2u);
  EXPECT_TRUE(stored[1]["result"].is_string()) << "korvelctl looks for itself, and the file is still there";
  EXPECT_EQ(stored[1]["path"], threats[1]["path"]);
  const auto records = json(L"quarantine list")["records"];
  ASSERT_EQ(records.size(), 3u);
  const auto idOf = [&records](size_t at) { return toWide(records[at]["id"].dump()); };
  EXPECT_EQ(json(L"quarantine delete --yes " + idOf(0))["items"][0]["result"], "ok");
  EXPECT_EQ(json(L"quarantine restore --yes --force " + idOf(1))["items"][0]["result"], "ok");
  EXPECT_EQ(json(L"config list")["settings"]["ScheduledHour"], 4);
  EXPECT_EQ(json(L"config set ScheduledHour=7")["changes"].size(), 1u);
  EXPECT_TRUE(json(L"update signatures").contains("errors"));
  EXPECT_TRUE(json(L"status").contains("errors"));
  const auto error = json(L"quarantine delete --yes 1");
  EXPECT_TRUE(error.contains("errors") || error["error"]["message"].is_string()) << error;
}

TEST_F(ControlMock, DoesNotTakeThePipeOfARunningService) {
  startService();
  const Finished run = runToEnd(mockExecutable(), L"--scene fresh");
  EXPECT_EQ(run.exitCode, 3u);
  EXPECT_TRUE(has(run.errorOutput, "is there already")) << run.errorOutput;
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
}

}  // namespace
}  // namespace korvel::test

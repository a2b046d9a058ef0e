// korvelctl without an answer, with a wrong one, and its exit codes.
#include <thread>

#include "base/files.h"
#include "e2e/control_client.h"
#include "e2e/own_console.h"
#include "e2e/sample_files.h"
#include "e2e/service_manager.h"

namespace korvel::test {
namespace {

class Connection : public ControlClient {};

TEST_F(Connection, WithoutAServiceEveryCommandSaysWhyAndWhatNext) {
  for (const wchar_t* command : {L"ping", L"status", L"scan quick", L"threats", L"update signatures", L"wait",
                                 L"config list", L"quarantine list", L"firewall status", L"watch"}) {
    const Finished run = ctl(std::wstring(command) + L" --timeout 0");
    EXPECT_EQ(run.exitCode, 3u) << toUtf8(command);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errorOutput,
              "korvelctl: the service is not installed (win32=2)\n"
              "           install it: korvelctl service install\n");
  }
  const auto error = json(L"status --timeout 0");
  EXPECT_EQ(error["schema"], "korvel.error/1");
  EXPECT_EQ(error["error"]["kind"], "not_installed");
  EXPECT_EQ(error["exit"], 3);
}

TEST_F(Connection, AStoppedServiceIsSaidToBeStopped) {
  const RegisteredService registered;
  const auto error = json(L"status --timeout 0");
  EXPECT_EQ(error["error"]["kind"], "stopped");
  EXPECT_TRUE(has(error["error"]["advice"].get<std::string>(), "korvelctl service start"));
}

TEST_F(Connection, ABusyPipeIsWaitedForAndThenNamed) {
  startService();
  Client holder;
  holder.connect();
  const Finished run = ctl(L"--json status");
  EXPECT_EQ(run.exitCode, 3u);
  EXPECT_EQ(parsed(run)["error"]["kind"], "busy");
  EXPECT_EQ(parsed(run)["error"]["win32"], 231);
  ChildProcess waits;
  waits.start(controlExecutable(), L"--lang en --timeout 60 ping");
  ::Sleep(2'000);
  holder.disconnect();
  EXPECT_EQ(waits.waitForExit(60'000), 0u) << waits.errorOutput();
}

TEST_F(Connection, PingWaitsForAServiceThatStarts) {
  ChildProcess waits;
  waits.start(controlExecutable(), L"--lang en ping --wait 60");
  ::Sleep(1'000);
  startService();
  EXPECT_EQ(waits.waitForExit(60'000), 0u) << waits.errorOutput();
}

// The data directory belongs to the service; a client of another user could not even give it the right owner.
TEST_F(Connection, CreatesNothing) {
  wipeServiceData();
  for (const wchar_t* command :
       {L"config list", L"config get WebShield", L"status", L"threats", L"quarantine list", L"help scan"}) {
    (void)ctl(std::wstring(command) + L" --timeout 0");
  }
  EXPECT_FALSE(pathExists(L"C:\\ProgramData\\KORVEL Antivirus"));
}

/// A server in the place of the service, which gives the reply that the test sets.
class FakeService {
 public:
  explicit FakeService(const std::string& reply)
      : pipe_(::CreateNamedPipeW(L"\\\\.\\pipe\\KorvelAV", PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096,
                                 0, nullptr)),
        thread_([this, reply] {
          ::ConnectNamedPipe(pipe_.get(), nullptr);
          char request[24];
          DWORD done = 0;
          ::ReadFile(pipe_.get(), request, sizeof request, &done, nullptr);
          ::WriteFile(pipe_.get(), reply.data(), static_cast<DWORD>(reply.size()), &done, nullptr);
          ::FlushFileBuffers(pipe_.get());
          ::DisconnectNamedPipe(pipe_.get());
        }) {}
  ~FakeService() { thread_.join(); }

 private:
  UniqueHandle pipe_;
  std::thread thread_;
};

TEST_F(Connection, EndsWith4WhenTheReplyIsNone) {
  const std::string replies[] = {std::string(24, 'x'),  // not a frame
                                 frame(2, "abc"),       // too short for a tick count
                                 frame(3, "abcd"),      // the reply to another request
                                 frame(0xFFFFFFFF, "x"),
                                 RawHeader{.version = 2}.bytes(),
                                 RawHeader{.length = 32 * 1024 * 1024 + 1}.bytes(),
                                 RawHeader{.length = 100}.bytes() + "cut"};
  for (const std::string& reply : replies) {
    const FakeService service(reply);
    const Finished run = ctl(L"--json ping");
    EXPECT_EQ(run.exitCode, 4u) << run.output;
    EXPECT_EQ(parsed(run)["schema"], "korvel.error/1");
  }
}

TEST_F(Connection, AReplyThatCannotBeDecodedIsShownInHex) {
  const FakeService service(frame(2, "abc"));
  const Finished run = ctl(L"ping");
  EXPECT_EQ(run.errorOutput, "korvelctl: the reply to request 2 is not understood: 3 bytes, 616263\n");
}

TEST_F(Connection, LongerRepliesOfANewerServiceAreUnderstood) {
  const FakeService service(frame(2, "abcdefgh"));
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
}

struct Situation {
  const wchar_t* arguments;
  DWORD exitCode;
};

TEST_F(Connection, ExitCodesWithoutAService) {
  static constexpr Situation kSituations[] = {
      {L"", 64},
      {L"--version", 0},
      {L"--help", 0},
      {L"/?", 0},
      {L"help", 0},
      {L"help quarantine delete", 0},
      {L"help nonsense", 64},
      {L"nonsense", 64},
      {L"threats quarantine x", 64},
      {L"config get Nonsense", 64},
      {L"config set ScheduledHour", 64},
      {L"update", 64},
      {L"scan", 64},
      {L"scan C:\\no-such-folder", 64},
      {L"status --timeout 0", 3},
      {L"stop --yes --timeout 0", 3},
      {L"stop", 64},
  };
  for (const Situation& situation : kSituations) {
    const Finished run = ctl(situation.arguments);
    EXPECT_EQ(run.exitCode, situation.exitCode) << toUtf8(situation.arguments) << "\n" << run.errorOutput;
    if (situation.exitCode == 0) continue;
    EXPECT_EQ(run.output, "") << toUtf8(situation.arguments);
    const Finished asJson = ctl(std::wstring(situation.arguments) + L" --json");
    EXPECT_EQ(asJson.exitCode, situation.exitCode) << toUtf8(situation.arguments);
    EXPECT_EQ(parsed(asJson)["schema"], "korvel.error/1") << toUtf8(situation.arguments);
    EXPECT_EQ(parsed(asJson)["exit"], situation.exitCode);
  }
}

TEST_F(Connection, ACommandWithoutAnEndHasNoOneDocument) {
  const Finished run = ctl(L"status --watch 1 --json");
  EXPECT_EQ(run.exitCode, 64u);
  EXPECT_TRUE(has(parsed(run)["error"]["message"].get<std::string>(), "--ndjson"));
}

TEST_F(Connection, ExitCodesWithAService) {
  startService();
  folder().write(L"clean\\a.exe", "x");
  folder().write(L"bad\\eicar.com", eicarText());
  folder().write(L"other\\eicar.txt", eicarText());
  const std::wstring scan = L"scan ";
  const struct {
    std::wstring arguments;
    DWORD exitCode;
  } situations[] = {
      {L"ping", 0},
      {L"status", 0},
      {L"status --check", 2},
      {scan + quoted(folder().at(L"clean")), 0},
      {L"threats", 0},
      {scan + quoted(folder().at(L"other")), 5},
      {scan + quoted(folder().at(L"bad")), 1},
      {L"threats", 1},
      {L"threats --fail-on critical", 0},
      {L"threats quarantine 9", 2},
      {L"quarantine restore 17", 2},
      {L"config set WebShield=0", 0},
      {L"firewall reset", 64},
      {L"wait", 1},
      {L"progress", 0},
      {L"cancel", 0},
      {L"watch --for 1", 0},
      {L"reload", 0},
      {L"update reload", 0},
  };
  for (const auto& situation : situations) {
    const Finished run = ctl(situation.arguments + L" --json");
    EXPECT_EQ(run.exitCode, situation.exitCode) << toUtf8(situation.arguments) << "\n" << run.output;
    EXPECT_TRUE(parsed(run)["schema"].is_string());
    for (const nlohmann::json& line : lines(ctl(situation.arguments + L" --ndjson")))
      EXPECT_TRUE(line["type"].is_string()) << toUtf8(situation.arguments);
  }
  EXPECT_EQ(ctl(L"ping").exitCode, 0u) << "the service still answers";
}

}  // namespace
}  // namespace korvel::test

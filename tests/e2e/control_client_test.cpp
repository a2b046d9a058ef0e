// korvelctl.exe as a script uses it.
#include <nlohmann/json.hpp>
#include <thread>

#include "base/files.h"
#include "base/utf.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

class ControlClient : public ServiceTest {
 protected:
  static Finished ctl(const std::wstring& arguments) { return runToEnd(controlExecutable(), arguments); }
  static nlohmann::json json(const std::wstring& arguments) {
    return nlohmann::json::parse(ctl(arguments + L" --json").output);
  }
  static std::wstring quoted(const std::wstring& path) { return L"\"" + path + L"\""; }
};

TEST_F(ControlClient, EndsWith3WithoutAService) {
  for (const wchar_t* command : {L"ping", L"status", L"scan quick", L"threats", L"update signatures",
                                 L"update program", L"shield status", L"stop"}) {
    const Finished run = ctl(command);
    EXPECT_EQ(run.exitCode, 3u) << toUtf8(command);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errorOutput, "korvelctl: cannot connect to service pipe (win32=2)\n");
  }
}

// The data directory belongs to the service; a client of another user could not even give it the right owner.
TEST_F(ControlClient, MakesNoDataDirectory) {
  wipeServiceData();
  for (const wchar_t* command : {L"config list", L"config get WebShield", L"status", L"threats",
                                 L"quarantine list", L"firewall status"}) {
    EXPECT_EQ(ctl(command).exitCode, 3u) << toUtf8(command);
  }
  EXPECT_FALSE(pathExists(L"C:\\ProgramData\\KORVEL Antivirus"));
}

TEST_F(ControlClient, EndsWith64OnWrongUsage) {
  for (const wchar_t* command : {L"", L"nonsense", L"scan", L"threats quarantine x", L"config get Nonsense",
                                 L"update", L"shield on"}) {
    const Finished run = ctl(command);
    EXPECT_EQ(run.exitCode, 64u) << toUtf8(command);
    EXPECT_EQ(run.output, "");
    EXPECT_NE(run.errorOutput, "");
  }
}

TEST_F(ControlClient, EndsWith0WhenTheServiceAnswers) {
  startService();
  EXPECT_EQ(ctl(L"ping").exitCode, 0u);
  EXPECT_EQ(ctl(L"reload").output, "signatures reloaded\n");
  EXPECT_EQ(ctl(L"cancel").exitCode, 0u);
  EXPECT_EQ(ctl(L"threats").output, "no threats\n");
  EXPECT_EQ(ctl(L"quarantine list").output, "the quarantine is empty\n");
}

TEST_F(ControlClient, ShowsTheStatus) {
  startService();
  const Finished run = ctl(L"status");
  EXPECT_EQ(run.exitCode, 0u);
  EXPECT_NE(run.output.find("signatures:     1 (e2e-1)\n"), std::string::npos);
  EXPECT_EQ(json(L"status")["version"], "1.2.0");
}

TEST_F(ControlClient, ShowsTheSettings) {
  startService();
  EXPECT_EQ(ctl(L"config get WebShield").output, "0\n");
  EXPECT_NE(ctl(L"config list").output.find("ScheduledScan=0\n"), std::string::npos);
  EXPECT_EQ(json(L"config list").size(), 15u);
  EXPECT_EQ(json(L"config get ScheduledHour"), 4);
}

TEST_F(ControlClient, ScanEndsWith0OrWith1) {
  startService();
  folder().write(L"clean\\a.exe", "x");
  folder().write(L"Заражено ёж\\eicar.com", eicarText());
  const Finished clean = ctl(L"scan " + quoted(folder().at(L"clean")));
  EXPECT_EQ(clean.exitCode, 0u);
  EXPECT_TRUE(clean.output.starts_with("no threats\n1 file (1 B) scanned in ")) << clean.output;
  EXPECT_EQ(clean.errorOutput, "");
  const Finished infected = ctl(L"scan " + quoted(folder().at(L"Заражено ёж")));
  EXPECT_EQ(infected.exitCode, 1u);
  EXPECT_NE(infected.output.find(toUtf8(folder().at(L"Заражено ёж\\eicar.com"))), std::string::npos);
  EXPECT_NE(infected.output.find("SIG.MATCH (high): Обнаружено в базе: EICAR-Test-File"), std::string::npos);
  EXPECT_EQ(ctl(L"threats").exitCode, 1u);
}

TEST_F(ControlClient, ScanResultIsReadableJson) {
  startService();
  folder().write(L"in\\eicar.com", eicarText());
  const nlohmann::json result = json(L"scan " + quoted(folder().at(L"in")));
  EXPECT_EQ(result["filesScanned"], 1);
  ASSERT_EQ(result["threats"].size(), 1u);
  EXPECT_EQ(result["threats"][0]["number"], 1);
  EXPECT_EQ(result["threats"][0]["sha256"], kEicarSha256);
}

TEST_F(ControlClient, ScanRefusesAFileAndAMissingFolder) {
  startService();
  const std::wstring file = folder().write(L"eicar.com", eicarText());
  for (const std::wstring& target : {file, folder().at(L"missing")}) {
    const Finished run = ctl(L"scan " + quoted(folder().path()) + L" " + quoted(target));
    EXPECT_EQ(run.exitCode, 2u);
    EXPECT_TRUE(run.errorOutput.starts_with("korvelctl: cannot scan " + toUtf8(target))) << run.errorOutput;
  }
  EXPECT_EQ(settings().lastScanUtc, 0u) << "nothing was started";
}

TEST_F(ControlClient, ScanTakesAFolderWhoseNameEndsInADot) {
  startService();
  folder().write(L"evil.\\eicar.com", eicarText());
  folder().write(L"evil\\a.exe", "x");
  const Finished run = ctl(L"scan " + quoted(folder().at(L"evil.")));
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_NE(run.output.find(toUtf8(folder().at(L"evil.\\eicar.com"))), std::string::npos) << run.output;
}

TEST_F(ControlClient, ScanShowsProgressWhereAsked) {
  startService();
  folder().write(L"in\\a.exe", "x");
  const Finished lines = ctl(L"scan --progress lines " + quoted(manyPrograms()));
  EXPECT_EQ(lines.exitCode, 0u);
  EXPECT_NE(lines.errorOutput.find("scanning ["), std::string::npos) << lines.errorOutput;
}

TEST_F(ControlClient, RefusalsEndWith2AndTheServicesText) {
  startService();
  SettingsFields changed = settings();
  changed.protectionEnabled = false;
  reply(ipc::Opcode::kSetConfig, ipc::encodeSettings(changed));
  const Finished run = ctl(L"scan quick");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.errorOutput, "korvelctl: protection is disabled\n");
  EXPECT_EQ(ctl(L"quarantine restore 17").errorOutput, "korvelctl: record not found\n");
  EXPECT_EQ(ctl(L"threats delete 1").errorOutput, "korvelctl: there is no threat number 1, the list has 0\n");
}

TEST_F(ControlClient, ScanWithoutADatabaseEndsWith2) {
  writeSettings("SignatureDb=C:\\missing.txt\n");
  startService();
  const Finished run = ctl(L"scan " + quoted(folder().path()));
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.errorOutput, "korvelctl: the service could not scan: no signature database is loaded\n");
}

TEST_F(ControlClient, TakesAThreatThroughQuarantineAndBack) {
  startService();
  const std::wstring file = folder().write(L"in\\eicar.com", eicarText());
  ASSERT_EQ(ctl(L"scan " + quoted(folder().at(L"in"))).exitCode, 1u);
  const Finished taken = ctl(L"threats quarantine 1 2");
  EXPECT_EQ(taken.exitCode, 2u) << "there is no second threat";
  EXPECT_EQ(taken.output, "quarantined: " + toUtf8(file) + "\n");
  EXPECT_FALSE(pathExists(file));
  const nlohmann::json list = json(L"quarantine list");
  ASSERT_EQ(list.size(), 1u);
  const std::wstring id = std::to_wstring(list[0]["id"].get<uint64_t>());
  EXPECT_EQ(ctl(L"quarantine restore " + id).output, "restored: " + toUtf8(id) + "\n");
  EXPECT_EQ(readFile(file), eicarText());
  EXPECT_EQ(ctl(L"threats delete 1").output, "deleted: " + toUtf8(file) + "\n");
  EXPECT_FALSE(pathExists(file));
}

TEST_F(ControlClient, StopsTheService) {
  startService();
  EXPECT_EQ(ctl(L"stop").exitCode, 0u);
  EXPECT_EQ(service().waitForExit(20'000), 0u);
}

/// A server in the place of the service, which gives the answer that the test sets.
class FakeService {
 public:
  explicit FakeService(const std::string& answer)
      : pipe_(::CreateNamedPipeW(L"\\\\.\\pipe\\KorvelAV", PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096,
                                 0, nullptr)),
        thread_([this, answer] {
          ::ConnectNamedPipe(pipe_.get(), nullptr);
          char request[24];
          DWORD done = 0;
          ::ReadFile(pipe_.get(), request, sizeof request, &done, nullptr);
          ::WriteFile(pipe_.get(), answer.data(), static_cast<DWORD>(answer.size()), &done, nullptr);
          ::FlushFileBuffers(pipe_.get());
          ::DisconnectNamedPipe(pipe_.get());
        }) {}
  ~FakeService() { thread_.join(); }

 private:
  UniqueHandle pipe_;
  std::thread thread_;
};

TEST_F(ControlClient, EndsWith4WhenTheAnswerIsNoAnswer) {
  const std::string answers[] = {std::string(24, 'x'),  // not a frame
                                 frame(2, "abc"),       // too short for a tick count
                                 frame(3, "abcd"),      // the answer to another request
                                 frame(0xFFFFFFFF, "x"), RawHeader{.length = 100}.bytes() + "cut"};
  for (const std::string& answer : answers) {
    const FakeService service(answer);
    const Finished run = ctl(L"ping");
    EXPECT_EQ(run.exitCode, 4u) << run.errorOutput;
    EXPECT_EQ(run.output, "");
  }
}

}  // namespace
}  // namespace korvel::test

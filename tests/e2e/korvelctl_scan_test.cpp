// korvelctl scan, wait, cancel and progress.
#include <thread>

#include "base/files.h"
#include "e2e/control_client.h"
#include "e2e/own_console.h"
#include "e2e/sample_files.h"

namespace korvel::test {
namespace {

constexpr int kLargePrograms = 24;

class ScanCommand : public ControlClient {
 protected:
  std::wstring infectedFolder() {
    folder().write(L"Заражено ёж\\eicar.com", eicarText());
    return folder().at(L"Заражено ёж");
  }
  /// A scan that outlasts several turns of the pipe. The client holds the pipe for 5 s, so nobody can ask the
  /// service meanwhile: the files tell that it is under way.
  std::wstring longerScan() {
    for (int i = 0; i < kLargePrograms; ++i) writeLargeProgram(large(i));
    return L"scan " + quoted(folder().at(L"large"));
  }
  std::wstring large(int i) { return folder().at(L"large\\p" + std::to_wstring(i) + L".exe"); }
  bool runs() {
    return eventually([this] {
      for (int i = 0; i < kLargePrograms; ++i) {
        if (isBeingRead(large(i))) return true;
      }
      return false;
    });
  }
  std::wstring longScan() { return L"scan " + quoted(manyPrograms()); }
};

TEST_F(ScanCommand, ACompletedScanEndsWith0OrWith1) {
  startService();
  folder().write(L"clean\\a.exe", "x");
  const Finished clean = ctl(L"scan " + quoted(folder().at(L"clean")));
  EXPECT_EQ(clean.exitCode, 0u) << clean.output << clean.errorOutput;
  EXPECT_TRUE(clean.output.starts_with("Scan completed in ")) << clean.output;
  EXPECT_EQ(clean.errorOutput, "");
  const Finished infected = ctl(L"scan " + quoted(infectedFolder()));
  EXPECT_EQ(infected.exitCode, 1u);
  EXPECT_TRUE(has(infected.output, toUtf8(folder().at(L"Заражено ёж\\eicar.com")))) << infected.output;
  EXPECT_TRUE(has(infected.output, "SIG.MATCH (high): Обнаружено в базе: EICAR-Test-File"));
}

TEST_F(ScanCommand, TheDocumentSaysHowItEndedAndWhatWasFound) {
  startService();
  const nlohmann::json scan = json(L"scan " + quoted(infectedFolder()));
  EXPECT_EQ(scan["schema"], "korvel.scan/1");
  EXPECT_EQ(scan["outcome"], "completed");
  EXPECT_EQ(scan["outcome_basis"], "files_done>=files_total");
  EXPECT_EQ(scan["scope"], "custom");
  EXPECT_EQ(scan["targets"][0], toUtf8(folder().at(L"Заражено ёж")));
  EXPECT_EQ(scan["database"]["count"], 1);
  EXPECT_EQ(scan["database"]["version"], "e2e-1");
  EXPECT_EQ(scan["summary"]["files"], 1);
  EXPECT_EQ(scan["summary"]["threats"], 1);
  ASSERT_EQ(scan["threats"].size(), 1u);
  EXPECT_EQ(scan["threats"][0]["n"], 1);
  EXPECT_EQ(scan["threats"][0]["severity"], "high");
  EXPECT_EQ(scan["threats"][0]["sha256"], kEicarSha256);
  EXPECT_EQ(scan["threats"][0]["state"], "present");
  EXPECT_EQ(scan["errors"], nlohmann::json::array());
}

TEST_F(ScanCommand, AScanThatAnotherClientCancelledNeverLooksClean) {
  startService();
  ChildProcess scan;
  scan.start(controlExecutable(), withManners(L"--json " + longerScan()));
  ASSERT_TRUE(runs());
  reply(ipc::Opcode::kCancelScan);
  ASSERT_EQ(scan.waitForExit(60'000), 5u) << scan.output() << scan.errorOutput();
  const auto document = nlohmann::json::parse(scan.output());
  EXPECT_EQ(document["outcome"], "stopped");
  EXPECT_LT(document["summary"]["files"], document["summary"]["files_total"]);
  const Finished text = ctl(L"wait");
  EXPECT_EQ(text.exitCode, 5u) << text.output;
  EXPECT_TRUE(has(text.output, "Scan stopped early")) << text.output;
  EXPECT_FALSE(has(text.output, "no threats"));
}

TEST_F(ScanCommand, CtrlCCancelsItAndSaysSo) {
  leaveConsole();
  startService();  // it must not hear the key
  useOwnConsole();
  ChildProcess scan;
  scan.start(controlExecutable(), withManners(L"--json " + longerScan()));
  ASSERT_TRUE(runs());
  pressCtrlC();
  ASSERT_EQ(scan.waitForExit(60'000), 5u) << scan.output() << scan.errorOutput();
  const auto document = nlohmann::json::parse(scan.output());
  EXPECT_EQ(document["outcome"], "cancelled");
  EXPECT_EQ(document["outcome_basis"], "cancelled_by_this_client");
  EXPECT_FALSE(progress().scanning) << "the service has been told";
}

TEST_F(ScanCommand, NothingExaminedIsNotClean) {
  startService();
  folder().write(L"in\\eicar.com.txt", eicarText());
  folder().write(L"in\\eicar", eicarText());
  folder().write(L"in\\eicar.pdf", eicarText());
  const Finished text = ctl(L"scan " + quoted(folder().at(L"in")));
  EXPECT_EQ(text.exitCode, 5u);
  EXPECT_TRUE(text.output.starts_with("Nothing was examined")) << text.output;
  EXPECT_TRUE(has(text.output, "korvelctl help scan")) << "where the extensions are listed";
  EXPECT_EQ(json(L"scan " + quoted(folder().at(L"in")))["outcome"], "nothing_examined");
  EXPECT_TRUE(has(ctl(L"help scan").output, "vhdx"));
}

TEST_F(ScanCommand, WithoutADatabaseItFailed) {
  writeSettings("SignatureDb=C:\\missing.txt\n");
  startService();
  folder().write(L"in\\a.exe", "x");
  const Finished run = ctl(L"--json scan " + quoted(folder().at(L"in")));
  EXPECT_EQ(run.exitCode, 5u);
  EXPECT_EQ(parsed(run)["outcome"], "failed");
}

TEST_F(ScanCommand, RefusesFilesAndMissingFoldersBeforeAnythingStarts) {
  startService();
  const std::wstring file = folder().write(L"eicar.com", eicarText());
  const Finished aFile = ctl(L"scan " + quoted(folder().path()) + L" " + quoted(file));
  EXPECT_EQ(aFile.exitCode, 64u);
  EXPECT_TRUE(has(aFile.errorOutput, "it is a file")) << aFile.errorOutput;
  EXPECT_TRUE(has(aFile.errorOutput, "korvelctl check"));
  const Finished missing = ctl(L"--json scan " + quoted(folder().at(L"missing")));
  EXPECT_EQ(missing.exitCode, 64u);
  EXPECT_EQ(parsed(missing)["error"]["kind"], "usage");
  EXPECT_EQ(ctl(L"scan").exitCode, 64u);
  EXPECT_EQ(ctl(L"scan quick C:\\").exitCode, 64u);
  EXPECT_EQ(ctl(L"scan quick --report report.pdf").exitCode, 64u);
  EXPECT_EQ(settings().lastScanUtc, 0u) << "nothing was started";
}

TEST_F(ScanCommand, TwoClientsNeverShowEachOthersResults) {
  startService();
  folder().write(L"one\\eicar.com", eicarText());
  folder().write(L"two\\a.exe", "x");
  int completed = 0;
  for (int round = 0; round < 6; ++round) {
    ChildProcess clients[2];
    clients[0].start(controlExecutable(), L"--lang en --json scan " + quoted(folder().at(L"one")));
    clients[1].start(controlExecutable(), L"--lang en --json scan " + quoted(folder().at(L"two")));
    const std::optional<DWORD> codes[] = {clients[0].waitForExit(60'000), clients[1].waitForExit(60'000)};
    for (int i = 0; i < 2; ++i) {
      ASSERT_TRUE(codes[i].has_value());
      const auto document = nlohmann::json::parse(clients[i].output());
      if (document["schema"] == "korvel.error/1") {
        EXPECT_EQ(document["error"]["message"], "a scan is already running");
        continue;
      }
      ++completed;
      EXPECT_EQ(document["outcome"], "completed") << clients[i].output();
      EXPECT_EQ(document["threats"].size(), i == 0 ? 1u : 0u) << clients[i].output();
      EXPECT_EQ(codes[i], i == 0 ? 1u : 0u);
    }
  }
  EXPECT_GE(completed, 6);
}

TEST_F(ScanCommand, FollowingLeavesThePipeToOthersAndTheLogShort) {
  startService();
  const int before = logMentions("client connected");
  ChildProcess scan;
  scan.start(controlExecutable(), withManners(L"--json " + longerScan()));
  ASSERT_TRUE(runs());
  const int watched = logMentions("client connected");
  const ULONGLONG start = ::GetTickCount64();
  Client other;
  other.connect(/*limitMs=*/20'000);
  const ULONGLONG waitedMs = ::GetTickCount64() - start;
  other.disconnect();
  ASSERT_TRUE(scan.waitForExit(200'000).has_value());
  const ULONGLONG tookMs = ::GetTickCount64() - start;
  EXPECT_LT(waitedMs, 15'000u) << "the client lets go after 5 s at most";
  const int connections = logMentions("client connected") - watched;
  EXPECT_LE(connections, 3 + static_cast<int>(tookMs / 5'000)) << "in " << tookMs << " ms";
  EXPECT_GE(watched, before);
  EXPECT_EQ(nlohmann::json::parse(scan.output())["outcome"], "completed");
}

TEST_F(ScanCommand, LinesTellOfStartThreatsAndEnd) {
  startService();
  const auto run = ctl(L"--ndjson scan --action quarantine " + quoted(infectedFolder()));
  EXPECT_EQ(run.exitCode, 1u);
  std::vector<std::string> types;
  for (const nlohmann::json& line : lines(run)) {
    if (line["type"] != "progress") types.push_back(line["type"]);
  }
  EXPECT_EQ(types, (std::vector<std::string>{"start", "threat", "action", "end"})) << run.output;
  EXPECT_EQ(lines(run).back()["schema"], "korvel.scan/1");
}

TEST_F(ScanCommand, TheActionIsDoneAtTheEndFromItsSeverityOn) {
  startService();
  const std::wstring file = folder().at(L"Заражено ёж\\eicar.com");
  const std::wstring target = quoted(infectedFolder());
  const auto tooMild = json(L"scan --action quarantine --min-severity critical " + target);
  EXPECT_EQ(tooMild["threats"][0]["action"], "report");
  EXPECT_TRUE(pathExists(file));
  const auto dry = json(L"scan --action delete --dry-run " + target);
  EXPECT_EQ(dry["threats"][0]["result"], "dry_run");
  EXPECT_TRUE(pathExists(file));
  const Finished asks = ctl(L"scan --action delete " + target);
  EXPECT_EQ(asks.exitCode, 64u) << "nobody can be asked here";
  EXPECT_TRUE(has(asks.errorOutput, "--yes"));
  EXPECT_TRUE(pathExists(file));
  const auto taken = json(L"scan --action quarantine " + target);
  EXPECT_EQ(taken["threats"][0]["result"], "ok");
  EXPECT_EQ(taken["threats"][0]["state"], "quarantined");
  EXPECT_FALSE(pathExists(file));
  folder().write(L"Заражено ёж\\eicar.com", eicarText());
  EXPECT_EQ(json(L"scan --action delete --yes " + target)["threats"][0]["state"], "deleted");
  EXPECT_FALSE(pathExists(file));
}

TEST_F(ScanCommand, FailOnDecidesTheExitCode) {
  startService();
  const std::wstring target = quoted(infectedFolder());
  EXPECT_EQ(ctl(L"scan --fail-on critical " + target).exitCode, 0u);
  EXPECT_EQ(ctl(L"scan --fail-on medium " + target).exitCode, 1u);
}

TEST_F(ScanCommand, WritesReportsInEveryForm) {
  startService();
  const std::wstring base = folder().at(L"отчёт");
  const Finished run = ctl(L"scan " + quoted(infectedFolder()) + L" --report " + quoted(base + L".html") +
                           L" --report " + quoted(base + L".json") + L" --report " + quoted(base + L".csv") +
                           L" --report " + quoted(base + L".txt"));
  EXPECT_EQ(run.exitCode, 1u) << run.errorOutput;
  EXPECT_TRUE(readFile(base + L".html").starts_with("<!"));
  EXPECT_EQ(nlohmann::json::parse(readFile(base + L".json"))["schema"], "korvel.scan/1");
  EXPECT_TRUE(readFile(base + L".csv").starts_with("\xEF\xBB\xBF"));
  EXPECT_TRUE(has(readFile(base + L".txt"), "EICAR-Test-File"));
  const Finished nowhere = ctl(L"scan " + quoted(folder().at(L"Заражено ёж")) + L" --json --report " +
                               quoted(folder().at(L"no\\such\\r.html")));
  EXPECT_EQ(nowhere.exitCode, 1u) << "the find outranks the report";
  EXPECT_EQ(parsed(nowhere)["errors"][0]["kind"], "io");
}

TEST_F(ScanCommand, TakesFoldersFromAListAndWithOddNames) {
  startService();
  folder().write(L"evil.\\eicar.com", eicarText());
  folder().write(L"[a,b]\\eicar.com", eicarText());
  const std::wstring list =
      folder().write(L"list.txt", "\xEF\xBB\xBF" + toUtf8(folder().at(L"evil.")) + "\r\n\r\n");
  const auto scan = json(L"scan --from " + quoted(list) + L" " + quoted(folder().at(L"[a,b]")));
  EXPECT_EQ(scan["outcome"], "completed") << scan.dump();
  EXPECT_EQ(scan["threats"].size(), 2u);
}

TEST_F(ScanCommand, DetachedItIsPickedUpByWait) {
  startService();
  const Finished started = ctl(L"--json scan --detach " + quoted(infectedFolder()));
  EXPECT_EQ(started.exitCode, 0u);
  EXPECT_EQ(parsed(started)["started"], true);
  const Finished waited = ctl(L"--json wait");
  EXPECT_EQ(waited.exitCode, 1u);
  EXPECT_EQ(parsed(waited)["outcome"], "completed");
  EXPECT_EQ(parsed(waited)["threats"].size(), 1u);
}

TEST_F(ScanCommand, WaitSaysWhenNoScanHasRun) {
  startService();
  const Finished run = ctl(L"wait");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_TRUE(has(run.errorOutput, "none has run since the service started")) << run.errorOutput;
}

TEST_F(ScanCommand, CancelSaysWhetherAScanRan) {
  startService();
  EXPECT_EQ(ctl(L"cancel").output, "no scan is running, nothing to cancel\n");
  startScan(ScanScope::kCustom, {manyPrograms()});
  ASSERT_TRUE(waitForPhase(L"scanning"));
  EXPECT_EQ(json(L"cancel --dry-run")["was_running"], true);
  EXPECT_TRUE(progress().scanning);
  EXPECT_EQ(json(L"cancel")["done"], true);
  (void)waitForScanEnd();
}

TEST_F(ScanCommand, ProgressShowsItOnce) {
  startService();
  EXPECT_EQ(ctl(L"progress").output, "no scan is running\n");
  startScan(ScanScope::kCustom, {manyPrograms()});
  ASSERT_TRUE(waitForPhase(L"scanning"));
  const auto shown = json(L"progress");
  EXPECT_EQ(shown["scanning"], true);
  EXPECT_EQ(shown["files_total"], kManyPrograms);
  reply(ipc::Opcode::kCancelScan);
  (void)waitForScanEnd();
}

TEST_F(ScanCommand, LinesOfProgressWhereAsked) {
  startService();
  const Finished run = ctl(L"--progress lines " + longScan());
  EXPECT_EQ(run.exitCode, 64u) << "it is an option of the command";
  const Finished lines = ctl(longScan() + L" --progress lines");
  EXPECT_EQ(lines.exitCode, 0u);
  EXPECT_TRUE(has(lines.errorOutput, "files")) << lines.errorOutput;
}

TEST_F(ScanCommand, GentlyItFindsTheSame) {
  startService();
  const auto scan = json(L"scan --gentle " + quoted(infectedFolder()));
  EXPECT_EQ(scan["outcome"], "completed");
  EXPECT_EQ(scan["threats"].size(), 1u);
}

TEST_F(ScanCommand, AServiceThatEndsMeanwhileIsSaidToHaveEnded) {
  startService();
  ChildProcess scan;
  scan.start(controlExecutable(), withManners(L"--json " + longerScan()));
  ASSERT_TRUE(runs());
  service().kill();
  ASSERT_EQ(scan.waitForExit(60'000), 4u) << scan.output();
  const auto document = nlohmann::json::parse(scan.output());
  EXPECT_EQ(document["outcome"], "lost");
  EXPECT_EQ(document["errors"][0]["kind"], "lost");
}

TEST_F(ScanCommand, RefusalsCarryTheServicesTextAndANextStep) {
  writeSettings("ProtectionEnabled=0\n");
  startService();
  const Finished run = ctl(L"scan quick");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_TRUE(run.errorOutput.starts_with("korvelctl: protection is disabled\n")) << run.errorOutput;
  EXPECT_TRUE(has(run.errorOutput, "korvelctl config set ProtectionEnabled=1"));
}

TEST_F(ScanCommand, DryRunOnlySaysWhatWouldBeScanned) {
  startService();
  const auto dry = json(L"scan --dry-run " + quoted(infectedFolder()));
  EXPECT_EQ(dry["started"], false);
  EXPECT_EQ(settings().lastScanUtc, 0u);
}

}  // namespace
}  // namespace korvel::test

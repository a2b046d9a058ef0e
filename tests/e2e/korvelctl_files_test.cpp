// The commands of korvelctl that look at files themselves: check, config lint and fix, shield status,
// quarantine verify and export.
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/utf.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"
#include "remedy/hosts_block.h"
#include "support/pe_builder.h"

namespace korvel::test {
namespace {

using Json = nlohmann::json;

class ControlFiles : public ServiceTest {
 protected:
  static Finished ctl(const std::wstring& arguments) {
    return runToEnd(controlExecutable(), arguments + L" --lang en");
  }
  /// The one document; its exit code goes to `exitCode_`.
  Json json(const std::wstring& arguments) {
    const Finished run = ctl(arguments + L" --json");
    exitCode_ = run.exitCode;
    EXPECT_EQ(run.errorOutput, "") << toUtf8(arguments);
    return Json::parse(run.output);
  }
  static std::wstring quoted(const std::wstring& path) { return L"\"" + path + L"\""; }
  std::wstring database() const { return L" --db " + quoted(folder().write(L"db.txt", eicarSignatures())); }
  static std::wstring settingsFile() { return L"C:\\ProgramData\\KORVEL Antivirus\\settings.ini"; }

  DWORD exitCode_ = 0;
};

TEST_F(ControlFiles, CheckFindsAListedFileUnderAnyNameWithoutAService) {
  for (const wchar_t* name : {L"eicar.com", L"eicar.com.txt", L"eicar.pdf", L"eicar"}) {
    const Json document = json(L"check " + quoted(folder().write(name, eicarText())) + database());
    EXPECT_EQ(exitCode_, 1u) << toUtf8(name);
    EXPECT_EQ(document["schema"], "korvel.check/1");
    const Json& file = document["files"][0];
    EXPECT_EQ(file["severity"], "high");
    EXPECT_EQ(file["sha256"], kEicarSha256);
    EXPECT_EQ(file["examined"], true);
    EXPECT_EQ(file["in_scope"], std::wstring_view(name) == L"eicar.com") << toUtf8(name);
    EXPECT_EQ(file["database"]["match"]["name"], "EICAR-Test-File");
    EXPECT_EQ(file["findings"][0]["code"], "SIG.MATCH");
  }
}

TEST_F(ControlFiles, CheckExplainsEveryRuleOfAnImage) {
  const Bytes image = PeBuilder().import("kernel32.dll", {"WriteProcessMemory"}).build();
  const std::wstring path =
      folder().write(L"Downloads\\tool.exe", {reinterpret_cast<const char*>(image.data()), image.size()});
  const Finished run = ctl(L"check --explain " + quoted(path) + database());
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_NE(run.output.find("PE.INJECTION_APIS    HIT (high)    imports WriteProcessMemory\n"),
            std::string::npos)
      << run.output;
  EXPECT_NE(run.output.find("reached by a scan: yes"), std::string::npos);
  const Json document = json(L"check --fail-on critical " + quoted(path) + database());
  EXPECT_EQ(exitCode_, 0u);
  EXPECT_EQ(document["files"][0]["rules"].size(), 11u);
}

TEST_F(ControlFiles, CheckNeverCallsCleanWhatItDidNotExamine) {
  const std::wstring empty = quoted(folder().write(L"empty.exe", ""));
  Json document = json(L"check " + empty + database());
  EXPECT_EQ(exitCode_, 5u);
  EXPECT_EQ(document["files"][0]["examined"], false);
  EXPECT_EQ(document["files"][0]["not_examined_reason"], "empty");

  document = json(L"check " + empty + L" " + quoted(folder().at(L"missing.exe")) + database());
  EXPECT_EQ(exitCode_, 2u);
  EXPECT_EQ(document["files"][1]["examined"], false);
  EXPECT_EQ(document["files"][1]["in_scope"], false);
  EXPECT_EQ(document["errors"][0]["kind"], "io");
  EXPECT_EQ(document["errors"][0]["win32"], 2);
  const Finished text = ctl(L"check " + empty + database());
  EXPECT_NE(text.output.find("NOT EXAMINED: it is empty"), std::string::npos) << text.output;
  EXPECT_EQ(text.output.find("nothing found"), std::string::npos);
}

TEST_F(ControlFiles, CheckReadsNamesFromAFileAndRefusesAFolder) {
  const std::wstring clean = folder().write(L"ёж\\clean.txt", "x");
  const std::wstring list = folder().write(L"names.txt", "\xEF\xBB\xBF" + toUtf8(clean) + "\r\n\r\n");
  EXPECT_EQ(json(L"check --from " + quoted(list) + database())["files"][0]["path"], toUtf8(clean));
  EXPECT_EQ(exitCode_, 0u);
  EXPECT_EQ(json(L"check " + quoted(folder().path()))["error"]["kind"], "usage");
  EXPECT_EQ(exitCode_, 64u);
  EXPECT_EQ(ctl(L"check").exitCode, 64u);
}

TEST_F(ControlFiles, CheckUsesTheServicesOwnSignaturesAndCreatesNothing) {
  const std::wstring file = quoted(folder().write(L"eicar.com", eicarText()));
  EXPECT_EQ(ctl(L"check " + file).exitCode, 1u) << "settings.ini names the signature file";
  wipeServiceData();
  (void)ctl(L"check " + file);
  (void)ctl(L"config lint");
  (void)ctl(L"shield status");
  EXPECT_FALSE(pathExists(L"C:\\ProgramData\\KORVEL Antivirus"));
}

TEST_F(ControlFiles, LintNamesTheReturnThatKeepsTheServiceFromStartingAndFixCuresIt) {
  writeFile(
      settingsFile(),
      "# Korvel Antivirus settings\r\nScheduledHour=\r\nWebShield=0\r\nUpdateServer=http://127.0.0.1:1\r\n");
  Json document = json(L"config lint");
  EXPECT_EQ(exitCode_, 1u);
  EXPECT_EQ(document["schema"], "korvel.lint/1");
  EXPECT_EQ(document["findings"][0]["id"], "carriage_return");
  EXPECT_EQ(document["findings"][1]["id"], "hour");
  EXPECT_EQ(document["errors_found"], 1);

  document = json(L"config fix");
  EXPECT_EQ(exitCode_, 64u) << "nobody can be asked";
  EXPECT_EQ(json(L"config fix --dry-run")["changed"], false);
  EXPECT_EQ(exitCode_, 0u);
  EXPECT_EQ(ctl(L"config lint").exitCode, 1u) << "nothing was changed";

  document = json(L"config fix --yes");
  EXPECT_EQ(exitCode_, 0u);
  EXPECT_EQ(document["changed"], true);
  EXPECT_EQ(readFile(settingsFile()),
            "# Korvel Antivirus settings\nWebShield=0\nUpdateServer=http://127.0.0.1:1\n");
  EXPECT_TRUE(pathExists(settingsFile() + L".bak"));
  EXPECT_EQ(ctl(L"config lint").exitCode, 0u);
}

TEST_F(ControlFiles, FixIsRefusedWhileTheServiceRuns) {
  startService();
  writeFile(settingsFile(), "WebShield=TRUE\n");
  const Json document = json(L"config fix --yes");
  EXPECT_EQ(exitCode_, 2u);
  EXPECT_EQ(document["error"]["kind"], "guard");
  EXPECT_EQ(readFile(settingsFile()), "WebShield=TRUE\n");
}

TEST_F(ControlFiles, LintOfAnotherFileThatIsMissingFails) {
  EXPECT_EQ(json(L"config lint " + quoted(folder().at(L"none.ini")))["error"]["kind"], "io");
  EXPECT_EQ(exitCode_, 2u);
}

TEST_F(ControlFiles, ShieldStatusCountsTheBlock) {
  const std::wstring hosts = quoted(folder().write(
      L"hosts", applyHostsBlock("127.0.0.1 localhost\n", {"a.example", "b.example", "a.example"})));
  startService();
  const Json document = json(L"shield status --hosts " + hosts);
  EXPECT_EQ(exitCode_, 0u);
  EXPECT_EQ(document["schema"], "korvel.shield/1");
  EXPECT_EQ(document["enabled"], false);
  EXPECT_EQ(document["entries"], 6);
  EXPECT_EQ(document["domains"], 2);
  EXPECT_EQ(document["duplicates"], 2);
  EXPECT_EQ(document["user_lines"], 1);
  EXPECT_EQ(json(L"shield status")["schema"], "korvel.shield/1");
}

class StoredFiles : public ControlFiles {
 protected:
  /// Quarantines the EICAR file; returns its record.
  QuarantineRecord quarantined() {
    folder().write(L"in\\eicar.com", eicarText());
    scan({folder().at(L"in")});
    reply(ipc::Opcode::kThreatDecision, ipc::encodeThreatDecision({ipc::kActionQuarantine, results().at(0)}));
    return quarantine().at(0);
  }
};

TEST_F(StoredFiles, VerifyFindsTheQuarantineWholeAndThenWhatIsWrong) {
  startService();
  const QuarantineRecord record = quarantined();
  Json document = json(L"quarantine verify");
  EXPECT_EQ(exitCode_, 0u) << document;
  EXPECT_EQ(document["schema"], "korvel.quarantine/1");
  EXPECT_EQ(document["index"], "whole");
  EXPECT_EQ(document["records"][0]["stored_state"], "present");
  EXPECT_EQ(document["records"][0]["sha256"], kEicarSha256);

  const std::wstring dir = settings().quarantineDir;
  writeFile(dir + L"\\orphan.exe", "x");
  writeFile(record.storedPath, std::string(68, 'x'));
  document = json(L"quarantine verify");
  EXPECT_EQ(exitCode_, 1u);
  EXPECT_EQ(document["records"][0]["stored_state"], "altered");
  EXPECT_EQ(document["orphans"][0]["name"], "orphan.exe");

  writeFile(dir + L"\\quarantine.db", "garbage");
  document = json(L"quarantine verify");
  EXPECT_EQ(exitCode_, 1u);
  EXPECT_EQ(document["index"], "damaged");
  EXPECT_EQ(document["orphans"].size(), 2u);
  stopService();
  EXPECT_EQ(json(L"quarantine verify --dir " + quoted(dir))["index"], "damaged");
  EXPECT_EQ(exitCode_, 1u);
}

TEST_F(StoredFiles, ExportCopiesAFileOutAndKeepsTheRecord) {
  startService();
  const QuarantineRecord record = quarantined();
  const std::wstring id = std::to_wstring(record.id);
  const std::wstring out = folder().at(L"out.bin");
  Json document = json(L"quarantine export " + id + L" -o " + quoted(out));
  EXPECT_EQ(exitCode_, 0u) << document;
  EXPECT_EQ(document["schema"], "korvel.action/1");
  EXPECT_EQ(document["sha256"], kEicarSha256);
  EXPECT_EQ(readFile(out), eicarText());
  EXPECT_EQ(quarantine().size(), 1u);

  writeFile(out, "mine");
  EXPECT_EQ(json(L"quarantine export " + id + L" -o " + quoted(out))["error"]["kind"], "usage");
  EXPECT_EQ(exitCode_, 64u);
  EXPECT_EQ(readFile(out), "mine");
  (void)json(L"quarantine export --force " + id + L" -o " + quoted(out));
  EXPECT_EQ(readFile(out), eicarText());

  EXPECT_EQ(json(L"quarantine export 17 -o " + quoted(folder().at(L"x")))["error"]["kind"], "refused");
  EXPECT_EQ(exitCode_, 2u);
  EXPECT_EQ(ctl(L"quarantine export " + id).exitCode, 64u);
  EXPECT_EQ(ctl(L"ping").exitCode, 0u) << "the service still answers";
}

}  // namespace
}  // namespace korvel::test

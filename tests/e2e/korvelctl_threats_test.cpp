// korvelctl threats and quarantine.
#include "base/clock.h"
#include "base/files.h"
#include "e2e/control_client.h"
#include "e2e/sample_files.h"

namespace korvel::test {
namespace {

class ThreatsCommand : public ControlClient {
 protected:
  /// Scans two folders, each with a copy of the EICAR test file.
  void findTwo() {
    startService();
    first_ = folder().write(L"in\\a\\eicar.com", eicarText());
    second_ = folder().write(L"in\\b\\eicar.com", eicarText());
    (void)scan({folder().at(L"in")});
  }
  std::wstring onlyId() {
    const auto records = quarantine();
    return records.size() == 1 ? std::to_wstring(records[0].id) : L"0";
  }

  std::wstring first_, second_;
};

TEST_F(ThreatsCommand, SaysWhenNoScanHasRunSinceTheStart) {
  startService();
  EXPECT_EQ(ctl(L"threats").output, "no scan has run since the service started\n");
  EXPECT_EQ(json(L"threats")["scan_has_run"], false);
  folder().write(L"in\\a.exe", "x");
  (void)scan({folder().at(L"in")});
  EXPECT_TRUE(has(ctl(L"threats").output, "listed nothing"));
  EXPECT_EQ(json(L"threats")["scan_has_run"], true);
}

TEST_F(ThreatsCommand, ListsWithStatesAndTellsByItsExitCode) {
  findTwo();
  const Finished text = ctl(L"threats");
  EXPECT_EQ(text.exitCode, 1u);
  EXPECT_TRUE(has(text.output, "EICAR-Test-File")) << text.output;
  EXPECT_TRUE(has(text.output, "Listed: 2 (critical 0, high 2, medium 0)")) << text.output;
  EXPECT_EQ(ctl(L"threats --fail-on critical").exitCode, 0u);
  removeTree(second_);
  const auto list = json(L"threats list");
  EXPECT_EQ(list["schema"], "korvel.threats/1");
  EXPECT_EQ(list["threats"][0]["state"], "present");
  EXPECT_EQ(list["threats"][1]["state"], "missing");
  const Finished csv = ctl(L"threats --format csv");
  EXPECT_TRUE(csv.output.starts_with("kind,n,severity,name,code,size,path,")) << csv.output;
}

TEST_F(ThreatsCommand, NothingIsDeletedUnasked) {
  findTwo();
  const Finished asks = ctl(L"threats delete 1");
  EXPECT_EQ(asks.exitCode, 64u);
  EXPECT_TRUE(has(asks.errorOutput, "--yes")) << asks.errorOutput;
  EXPECT_TRUE(pathExists(first_));
  EXPECT_EQ(ctl(L"threats quarantine --all").exitCode, 64u);
  const Finished dry = ctl(L"threats delete --all --dry-run");
  EXPECT_EQ(dry.exitCode, 0u);
  EXPECT_EQ(dry.output, "would delete: " + toUtf8(first_) + "\nwould delete: " + toUtf8(second_) + "\n");
  EXPECT_TRUE(pathExists(first_));
  EXPECT_EQ(ctl(L"threats delete 1 --yes").output, "deleted: " + toUtf8(first_) + "\n");
  EXPECT_FALSE(pathExists(first_));
  EXPECT_TRUE(pathExists(second_));
  EXPECT_TRUE(quarantine().empty());
}

TEST_F(ThreatsCommand, FilesOfWindowsNeedForceAndFilesOfTheQuarantineAreNeverTouched) {
  startService();
  wchar_t windows[MAX_PATH];
  ASSERT_NE(::GetWindowsDirectoryW(windows, MAX_PATH), 0u);
  const std::wstring own = std::wstring(windows) + L"\\korvel-test";
  writeFile(own + L"\\eicar.com", eicarText());
  folder().write(L"in\\eicar.com", eicarText());
  ASSERT_EQ(ctl(L"scan --action quarantine " + quoted(folder().at(L"in"))).exitCode, 1u);
  (void)scan({own, settings().quarantineDir});
  const auto list = json(L"threats");
  ASSERT_EQ(list["threats"].size(), 2u) << list.dump();
  EXPECT_EQ(list["threats"][1]["in_quarantine_store"], true);

  const Finished guarded = ctl(L"--json threats delete 1 2 --yes");
  EXPECT_EQ(guarded.exitCode, 2u);
  EXPECT_EQ(parsed(guarded)["errors"][0]["item"], "1");
  EXPECT_EQ(parsed(guarded)["errors"][0]["kind"], "guard");
  EXPECT_EQ(parsed(guarded)["errors"][1]["kind"], "guard");
  EXPECT_TRUE(pathExists(own + L"\\eicar.com"));
  // Another spelling of the folder changes nothing.
  (void)scan({std::wstring(windows) + L"\\.\\KORVEL-TEST\\"});
  EXPECT_EQ(ctl(L"threats quarantine 1").exitCode, 2u);
  EXPECT_TRUE(pathExists(own + L"\\eicar.com"));

  (void)scan({own, settings().quarantineDir});
  EXPECT_EQ(ctl(L"threats delete 2 --force --yes").exitCode, 2u) << "the quarantine, even with --force";
  ASSERT_EQ(quarantine().size(), 1u);
  EXPECT_TRUE(quarantine()[0].storedFileExists);
  EXPECT_EQ(ctl(L"threats delete 1 --force --yes").exitCode, 0u);
  EXPECT_FALSE(pathExists(own + L"\\eicar.com"));
  removeTree(own);
}

TEST_F(ThreatsCommand, StoredFilesDoNotCountAsFinds) {
  startService();
  folder().write(L"in\\eicar.com", eicarText());
  ASSERT_EQ(ctl(L"scan --action quarantine " + quoted(folder().at(L"in"))).exitCode, 1u);
  const Finished run = ctl(L"--json scan " + quoted(settings().quarantineDir));
  EXPECT_EQ(parsed(run)["threats"][0]["in_quarantine_store"], true) << run.output;
  EXPECT_EQ(run.exitCode, 0u);
}

TEST_F(ThreatsCommand, AnErrorNamesItsItemAndTheOthersAreDone) {
  findTwo();
  const Finished run = ctl(L"threats quarantine 1 7 2");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.errorOutput, "korvelctl: 7: there is no threat number 7, the list has 2\n");
  EXPECT_FALSE(pathExists(first_));
  EXPECT_FALSE(pathExists(second_));
  EXPECT_EQ(ctl(L"threats quarantine x").exitCode, 64u);
  EXPECT_EQ(ctl(L"threats quarantine").exitCode, 64u);
  EXPECT_EQ(ctl(L"threats quarantine 1 --all").exitCode, 64u);
  const auto gone = json(L"threats delete 1 --yes");
  EXPECT_EQ(gone["errors"][0]["item"], "1");
  EXPECT_EQ(gone["errors"][0]["message"], "file not found");
}

TEST_F(ThreatsCommand, TakesAFileThroughQuarantineAndBack) {
  startService();
  const std::wstring file = folder().write(L"in\\eicar.com", eicarText());
  (void)scan({folder().at(L"in")});
  ASSERT_EQ(ctl(L"threats quarantine 1").output, "quarantined: " + toUtf8(file) + "\n");
  EXPECT_EQ(json(L"threats")["threats"][0]["state"], "quarantined");
  const auto list = json(L"quarantine list");
  EXPECT_EQ(list["schema"], "korvel.quarantine/1");
  EXPECT_EQ(list["records"][0]["original"], toUtf8(file));
  EXPECT_EQ(list["records"][0]["stored_state"], "present");
  EXPECT_EQ(list["records"][0]["name"], "EICAR-Test-File");
  EXPECT_EQ(list["records"][0]["size"], 68);
  EXPECT_EQ(ctl(L"quarantine restore " + onlyId()).output, "restored: " + toUtf8(file) + "\n");
  EXPECT_EQ(readFile(file), eicarText());
  EXPECT_EQ(ctl(L"quarantine list").output, "the quarantine is empty\n");
}

TEST_F(ThreatsCommand, RestoreLooksBeforeItReplaces) {
  startService();
  const std::wstring file = folder().write(L"in\\eicar.com", eicarText());
  (void)scan({folder().at(L"in")});
  ASSERT_EQ(ctl(L"threats quarantine 1").exitCode, 0u);
  writeFile(file, "newer");
  const Finished refused = ctl(L"--json quarantine restore " + onlyId());
  EXPECT_EQ(refused.exitCode, 64u);
  EXPECT_TRUE(has(parsed(refused)["errors"][0]["message"].get<std::string>(), "--force"));
  EXPECT_EQ(readFile(file), "newer");
  EXPECT_EQ(ctl(L"quarantine restore --yes " + onlyId()).exitCode, 64u) << "yes to what?";
  EXPECT_EQ(readFile(file), "newer");
  EXPECT_EQ(ctl(L"quarantine restore --dry-run --force " + onlyId()).exitCode, 0u);
  EXPECT_EQ(readFile(file), "newer");
  EXPECT_EQ(ctl(L"quarantine restore --force " + onlyId()).exitCode, 0u);
  EXPECT_EQ(readFile(file), eicarText());
}

TEST_F(ThreatsCommand, DeletesFromTheQuarantineOnlyWhatWasMeant) {
  findTwo();
  ASSERT_EQ(ctl(L"threats quarantine 1").exitCode, 0u);
  // Equal files with equal names share one stored file when they come in the same second.
  const uint64_t second = unixSecondsNow();
  ASSERT_TRUE(eventually([second] { return unixSecondsNow() != second; }));
  ASSERT_EQ(ctl(L"threats quarantine 2").exitCode, 0u);
  ASSERT_EQ(quarantine().size(), 2u);
  removeTree(quarantine()[0].storedPath);
  const std::string listed = ctl(L"quarantine list").output;
  EXPECT_TRUE(has(listed, "missing!")) << listed;
  EXPECT_TRUE(has(listed, "2\u00A0records, 1 without a file")) << listed;
  EXPECT_EQ(json(L"quarantine list --missing")["records"].size(), 1u);

  EXPECT_EQ(ctl(L"quarantine delete --all").exitCode, 64u) << "nobody can be asked";
  EXPECT_EQ(ctl(L"quarantine delete").exitCode, 64u);
  EXPECT_EQ(ctl(L"quarantine delete --all --missing").exitCode, 64u);
  EXPECT_EQ(ctl(L"quarantine delete --older-than soon --yes").exitCode, 64u);
  EXPECT_EQ(quarantine().size(), 2u);
  EXPECT_EQ(json(L"quarantine delete --older-than 1d --yes")["items"].size(), 0u);
  EXPECT_EQ(json(L"quarantine delete --missing --yes")["items"].size(), 1u);
  ASSERT_EQ(quarantine().size(), 1u);
  EXPECT_TRUE(quarantine()[0].storedFileExists);
  const auto unknown = json(L"quarantine delete 17 --yes");
  EXPECT_EQ(unknown["errors"][0]["item"], "17");
  EXPECT_EQ(unknown["errors"][0]["message"], "record not found");
  EXPECT_EQ(ctl(L"quarantine delete --all --yes").exitCode, 0u);
  EXPECT_TRUE(quarantine().empty());
}

TEST_F(ThreatsCommand, FilesWithoutARecordAreNamed) {
  startService();
  const std::wstring quarantineFolder = settings().quarantineDir;
  writeFile(quarantineFolder + L"\\1700000000_abc_lost.exe", "x");
  const Finished run = ctl(L"quarantine list");
  EXPECT_EQ(run.exitCode, 1u);
  EXPECT_TRUE(has(run.output, "1700000000_abc_lost.exe")) << run.output;
  writeFile(quarantineFolder + L"\\quarantine.db", "garbage");
  EXPECT_EQ(json(L"quarantine list")["index"], "damaged");
}

}  // namespace
}  // namespace korvel::test

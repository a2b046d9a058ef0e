// Scans of real folders, from the request to the results.
#include "base/files.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/sample_files.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

using ipc::Opcode;

class Scan : public ServiceTest {
 protected:
  void SetUp() override {
    ServiceTest::SetUp();
    startService();
  }

  /// For scans that must still run when a request comes, also on a fast machine.
  static constexpr int kRounds = 5;
  static std::vector<std::wstring> longScan() { return std::vector<std::wstring>(kRounds, manyPrograms()); }
};

TEST_F(Scan, FindsAListedFileAndExplainsIt) {
  const std::wstring file = folder().write(L"in\\deep\\eicar.com", eicarText());
  folder().write(L"in\\clean.exe", "nothing");
  const ScanReport end = scan({folder().at(L"in")});
  EXPECT_EQ(end.progress.phase, L"cancelled");
  EXPECT_TRUE(end.lastSummary.cancelled);
  EXPECT_EQ(end.lastSummary.filesScanned, 2u);
  EXPECT_EQ(end.lastSummary.threats, 1u);
  EXPECT_EQ(end.lastSummary.bytesScanned, 68u + 7u);

  const auto found = results();
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].path, file);
  EXPECT_EQ(found[0].name, "EICAR-Test-File");
  EXPECT_EQ(found[0].code, "EICAR");
  EXPECT_EQ(found[0].severity, kSeverityHigh);
  EXPECT_EQ(found[0].size, 68u);
  EXPECT_EQ(found[0].sha256, kEicarSha256);
  ASSERT_FALSE(found[0].reasons.empty());
  EXPECT_EQ(found[0].reasons[0].code, "SIG.MATCH");
  EXPECT_EQ(found[0].reasons[0].title, "Обнаружено в базе: EICAR-Test-File");
  EXPECT_EQ(found[0].reasons[0].detail, "Уровень: high, ссылка: eicar.org");
  EXPECT_EQ(found[0].labels, std::vector<std::string>{"Точное совпадение в базе угроз"});
}

TEST_F(Scan, HeuristicsNameWhatIsInNoList) {
  folder().write(L"in\\invoice.pdf.exe", "x");
  folder().write(L"in\\Downloads\\svchost.exe", "x");
  scan({folder().at(L"in")});
  const auto found = results();
  ASSERT_EQ(found.size(), 2u);
  for (const ThreatRecord& threat : found) {
    const bool invoice = threat.path.ends_with(L"invoice.pdf.exe");
    EXPECT_EQ(threat.name, invoice ? "Двойное расширение" : "Маскируется под системный процесс");
    EXPECT_EQ(threat.code, invoice ? "FS.DOUBLE_EXT" : "FS.IMPERSONATE");
  }
}

TEST_F(Scan, NamesInEveryScriptArriveWhole) {
  const std::wstring file = folder().write(L"Загрузки Ёж\\счёт.pdf.exe", "x");
  scan({folder().at(L"Загрузки Ёж")});
  const auto found = results();
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].path, file);
}

TEST_F(Scan, IsLoggedSavedAndCached) {
  folder().write(L"in\\clean.exe", "nothing");
  EXPECT_EQ(settings().lastScanUtc, 0u);
  scan({folder().at(L"in")});
  EXPECT_TRUE(logGets("[INF] scan finished: files=1 threats=0 ms="));
  EXPECT_GT(settings().lastScanUtc, 1'700'000'000u);
  EXPECT_EQ(settings().lastThreatCount, 0u);
  EXPECT_EQ(readFile(settingsPath()).find("\nLastScanUtc=0\n"), std::string::npos);
  EXPECT_NE(readFile(scanCachePath()).find(toUtf8(folder().at(L"in\\clean.exe")) + "|7|"), std::string::npos);
  EXPECT_TRUE(results().empty());
}

TEST_F(Scan, OfNoTargetEndsIdleAndChangesNothing) {
  const ScanReport end = scan({});
  EXPECT_EQ(end.progress.phase, L"idle");
  EXPECT_FALSE(end.lastSummary.cancelled);
  EXPECT_EQ(settings().lastScanUtc, 0u);
  EXPECT_EQ(log().find("scan finished"), std::string::npos);
}

TEST_F(Scan, OfTheMemoryIsNotImplemented) {
  startScan(ScanScope::kMemory, {folder().path()});
  EXPECT_EQ(waitForScanEnd().progress.phase, L"idle");
  EXPECT_TRUE(logGets("[WRN] memory scan requested but not implemented\n"));
  EXPECT_EQ(settings().lastScanUtc, 0u);
}

TEST_F(Scan, OfAFileOrAMissingFolderScansNothing) {
  const std::wstring file = folder().write(L"eicar.com", eicarText());
  const ScanReport end = scan({file, folder().at(L"missing"), L"", L"?:\\bad|name"});
  EXPECT_EQ(end.progress.phase, L"cancelled");
  EXPECT_EQ(end.lastSummary.filesScanned, 0u);
  EXPECT_TRUE(results().empty());
}

TEST_F(Scan, AnUnknownScopeIsACustomOne) {
  folder().write(L"in\\eicar.com", eicarText());
  startScan(static_cast<ScanScope>(77), {folder().at(L"in")});
  waitForScanEnd();
  EXPECT_EQ(results().size(), 1u);
}

TEST_F(Scan, StartsAnewWithEmptyResults) {
  folder().write(L"in\\eicar.com", eicarText());
  scan({folder().at(L"in")});
  EXPECT_EQ(results().size(), 1u);
  const ScanReport idle = scan({});
  ScanProgressInfo nothingDone;
  nothingDone.phase = L"idle";
  EXPECT_EQ(idle.progress, nothingDone);
  EXPECT_EQ(idle.lastSummary, ScanSummary{});
  EXPECT_TRUE(results().empty());

  scan({folder().at(L"in")});
  const ScanReport end = scan({folder().at(L"missing")});
  EXPECT_EQ(end.lastSummary.threats, 0u);
  EXPECT_TRUE(results().empty());
}

TEST_F(Scan, QuickScopeReachesTheUserFolders) {
  wchar_t profile[MAX_PATH] = {};
  ASSERT_GT(::GetEnvironmentVariableW(L"USERPROFILE", profile, MAX_PATH), 0u);
  const std::wstring file = std::wstring(profile) + L"\\Downloads\\korvel-e2e.pdf.exe";
  writeFile(file, "x");
  startScan(ScanScope::kQuick, {});
  const ScanReport end = waitForScanEnd();
  removeTree(file);
  EXPECT_GT(end.lastSummary.filesScanned, 100u);  // system32 is among its targets
  bool found = false;
  for (const ThreatRecord& threat : results()) found = found || threat.path == file;
  EXPECT_TRUE(found);
}

TEST_F(Scan, FullScopeReachesWhatTheQuickOneLeavesOut) {
  const std::wstring file = L"C:\\korvel-e2e-full\\x.pdf.exe";
  writeFile(file, "x");
  startScan(ScanScope::kFull, {});
  const auto found = [&] {
    for (const ThreatRecord& threat : results()) {
      if (threat.path == file) return true;
    }
    return false;
  };
  EXPECT_TRUE(eventually(200'000, [&] { return found() || !progress().scanning; }));
  EXPECT_TRUE(found());
  reply(Opcode::kCancelScan);
  waitForScanEnd();
  removeTree(L"C:\\korvel-e2e-full");
}

TEST_F(Scan, FullScopeReachesRemovableDrivesAlthoughScanRemovableIsOff) {
  ASSERT_FALSE(settings().scanRemovable);
  const std::wstring file = L"A:\\x.pdf.exe";  // the first drive of all
  writeFile(file, "x");
  startScan(ScanScope::kFull, {});
  const auto found = [&] { return !results().empty() && results().front().path == file; };
  EXPECT_TRUE(eventually([&] { return found() || !progress().scanning; }));
  EXPECT_TRUE(found());
  reply(Opcode::kCancelScan);
  waitForScanEnd();
  removeTree(file);
}

TEST_F(Scan, FoldersAndFilesWithOddNamesAreScannedAndQuarantined) {
  const std::wstring target = folder().at(L"x\\..\\in\\");
  const std::wstring file = target + L"evil.\\nul.com";
  folder().write(L"in\\evil.\\nul.com", eicarText());
  folder().write(L"in\\zz.pdf.exe", "x");
  scan({target});
  const auto found = results();
  ASSERT_EQ(found.size(), 2u);  // the folder's name does not end the walk
  EXPECT_EQ(found[0].path, file);
  EXPECT_EQ(found[0].sha256, kEicarSha256);
  EXPECT_EQ(found[1].path, target + L"zz.pdf.exe");

  reply(Opcode::kThreatDecision, ipc::encodeThreatDecision({ipc::kActionQuarantine, found[0]}));
  EXPECT_FALSE(pathExists(file));
  const auto records = quarantine();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].originalPath, file);
  EXPECT_TRUE(records[0].storedFileExists);
}

TEST_F(Scan, ASecondOneIsRefusedWhileOneRuns) {
  startScan(ScanScope::kCustom, longScan());
  EXPECT_EQ(refusal(Opcode::kStartScan, ipc::encodeStartScan({ScanScope::kCustom, {folder().path()}})),
            "a scan is already running");
  EXPECT_TRUE(status().scanRunning);
  waitForPhase(L"scanning");  // a cancel that comes before the scanner starts is lost
  reply(Opcode::kCancelScan);
  waitForScanEnd();
  EXPECT_FALSE(status().scanRunning);
  EXPECT_EQ(scan({}).progress.phase, L"idle");
}

TEST_F(Scan, IsRefusedWithoutProtectionEvenWhileOneRuns) {
  startScan(ScanScope::kCustom, longScan());
  SettingsFields changed = settings();
  changed.protectionEnabled = false;
  reply(Opcode::kSetConfig, ipc::encodeSettings(changed));
  EXPECT_EQ(refusal(Opcode::kStartScan, ipc::encodeStartScan({})), "protection is disabled");
  waitForPhase(L"scanning");
  reply(Opcode::kCancelScan);
  waitForScanEnd();
  EXPECT_EQ(refusal(Opcode::kStartScan, ipc::encodeStartScan({})), "protection is disabled");
}

TEST_F(Scan, CancelEndsAScanInMidWalk) {
  scan({folder().path()});  // a scan before it makes no difference
  startScan(ScanScope::kCustom, longScan());
  ASSERT_TRUE(waitForPhase(L"scanning"));
  reply(Opcode::kCancelScan);
  const ScanReport end = waitForScanEnd();
  EXPECT_EQ(end.progress.phase, L"cancelled");
  EXPECT_EQ(end.progress.filesTotal, static_cast<uint64_t>(kRounds * kManyPrograms));
  EXPECT_LT(end.lastSummary.filesScanned, end.progress.filesTotal);
  EXPECT_TRUE(logGets("[INF] scan finished: files=" + std::to_string(end.lastSummary.filesScanned) +
                      " threats=0 ms="));
}

TEST_F(Scan, FilesInFrontOfALongWalkAreSeenAtOnceAndKeptByACancel) {
  constexpr int kThreats = 8;
  for (int i = 0; i < kThreats; ++i) {
    folder().write(L"front\\eicar" + std::to_wstring(i) + L".com", eicarText());
  }
  folder().write(L"front\\clean.exe", "nothing");
  // Names that are not scanned: the walk is long and yields nothing.
  constexpr int kNames = 500;
  constexpr int kRepeats = 800;
  for (int i = 0; i < kNames; ++i) folder().write(L"notes\\n" + std::to_wstring(i) + L".txt", "");
  std::vector<std::wstring> targets(kRepeats, folder().at(L"notes"));
  targets.insert(targets.begin(), folder().at(L"front"));

  startScan(ScanScope::kCustom, targets);
  ASSERT_TRUE(waitForPhase(L"scanning"));
  // The counters are reported at intervals between files, the results at once.
  ASSERT_TRUE(eventually([&] { return results().size() == kThreats || !status().scanRunning; }));
  ASSERT_TRUE(status().scanRunning) << "the walk ended before its first files were seen";
  reply(Opcode::kCancelScan);
  const ScanReport end = waitForScanEnd();
  EXPECT_EQ(end.progress.phase, L"cancelled");
  EXPECT_EQ(end.lastSummary.filesScanned, static_cast<uint64_t>(kThreats + 1));
  EXPECT_EQ(end.lastSummary.threats, static_cast<uint64_t>(kThreats));
  EXPECT_EQ(results().size(), static_cast<size_t>(kThreats));
  EXPECT_EQ(settings().lastThreatCount, static_cast<uint64_t>(kThreats));
}

TEST_F(Scan, ReloadDuringAScanChangesTheNextOneOnly) {
  folder().write(L"zz\\eicar.com", eicarText());
  startScan(ScanScope::kCustom, {manyPrograms(), folder().at(L"zz")});
  ASSERT_TRUE(waitForPhase(L"scanning"));
  writeFile(settings().signatureDb, std::string(64, 'a') + "\n" + std::string(64, 'b') + "\n");
  EXPECT_EQ(reply(Opcode::kReloadSignatures), "");
  EXPECT_EQ(status().signatureCount, 2u);
  waitForScanEnd();
  EXPECT_EQ(results().size(), 1u) << "the running scan keeps the database it began with";
  scan({folder().at(L"zz")});
  EXPECT_TRUE(results().empty());
}

TEST_F(Scan, WithoutADatabaseFails) {
  stopService();
  writeSettings("SignatureDb=" + toUtf8(folder().at(L"missing.txt")) + "\n");
  startService();
  EXPECT_TRUE(
      logGets("[WRN] signature database not loaded: cannot open: " + toUtf8(folder().at(L"missing.txt"))));
  EXPECT_EQ(status().signatureCount, 0u);
  EXPECT_EQ(status().signatureVersion, "");
  const ScanReport end = scan({folder().path()});
  EXPECT_EQ(end.progress.phase, L"failed");
  EXPECT_TRUE(end.lastSummary.cancelled);
  EXPECT_TRUE(logGets("[ERR] scan aborted: signature database is not loaded\n"));
  EXPECT_EQ(settings().lastScanUtc, 0u);
}

}  // namespace
}  // namespace korvel::test

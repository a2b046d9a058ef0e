#include "engine/scan_worker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <thread>

#include "base/files.h"
#include "base/utf.h"
#include "config/data_paths.h"
#include "config/settings_file.h"
#include "e2e/sample_files.h"
#include "engine/engine_fixture.h"
#include "support/fresh_stop_signal.h"
#include "support/sparse_file.h"

namespace korvel::svc {
namespace {

constexpr const char* kAbcSha256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

class ScanWorkerTest : public test::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    test::writeFile(seed_, std::string("KORVELDB/1\nVERSION test-1\n") + kAbcSha256 + ":Test.Abc:Abc\n");
  }

  static bool scanning(const ScanWorker& worker) { return worker.getStatus().scanRunning; }
  static void waitForEnd(const ScanWorker& worker) {
    EXPECT_TRUE(test::eventually([&] { return !scanning(worker); }));
  }
  /// Runs one scan of the test's folder to its end.
  void scanFolder(ScanWorker& worker) {
    std::string error;
    ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, &error)) << error;
    waitForEnd(worker);
  }
};

TEST_F(ScanWorkerTest, AFreshInstallationGetsDefaultsAndAFile) {
  ScanWorker worker;
  std::string error;
  ASSERT_TRUE(worker.init(&error)) << error;
  EXPECT_TRUE(logged("[INF] KorvelService starting, version 1.2.0\n"));
  EXPECT_TRUE(logged("[WRN] config not found, using defaults\n"));
  EXPECT_EQ(savedSettings(), Settings());
}

TEST_F(ScanWorkerTest, LogsTheLoadedSignatures) {
  startWorker();
  EXPECT_TRUE(logged("[INF] signatures loaded: 1 entries, version test-1\n"));
  EXPECT_TRUE(logged("[INF] workers started (scheduled=off, realtime=off)\n"));
  EXPECT_TRUE(logged("[INF] minifilter unavailable (фильтр-драйвер недоступен (hr=0x"));
  EXPECT_FALSE(logged("config not found"));
}

TEST_F(ScanWorkerTest, WithoutADatabaseItStartsAndAScanFails) {
  settings_.signatureDb = folder_.at(L"missing.txt");
  settings_.lastScanUtc = 77;
  ScanWorker& worker = startWorker();
  EXPECT_TRUE(
      logged("[WRN] signature database not loaded: cannot open: " + toUtf8(settings_.signatureDb) + "\n"));
  EXPECT_EQ(worker.getStatus().signatureCount, 0u);
  EXPECT_EQ(worker.getStatus().signatureVersion, "");
  scanFolder(worker);
  EXPECT_EQ(worker.getProgress().phase, L"failed");
  EXPECT_TRUE(worker.getLastSummary().cancelled);
  EXPECT_TRUE(logged("[ERR] scan aborted: signature database is not loaded\n"));
  EXPECT_EQ(worker.getSettings().lastScanUtc, 77u);
}

TEST_F(ScanWorkerTest, AnEmptySeedIsAnEmptyDatabase) {
  test::writeFile(seed_, "# nothing\n");
  startWorker();
  EXPECT_TRUE(logged("[WRN] signature database not loaded: database is empty\n"));
}

TEST_F(ScanWorkerTest, AFailingSeedWithALiveFileLoadsTheLiveFile) {
  settings_.signatureDb = folder_.at(L"missing.txt");
  test::writeFile(liveSignaturesPath(), std::string(kAbcSha256) + "\n");
  ScanWorker& worker = startWorker();
  EXPECT_EQ(worker.getStatus().signatureCount, 1u);
  EXPECT_FALSE(logged("signature database not loaded"));
}

TEST_F(ScanWorkerTest, ALiveFileThatCannotBeReadIsIgnored) {
  createDirectories(liveSignaturesPath());
  EXPECT_EQ(startWorker().getStatus().signatureVersion, "test-1");
  EXPECT_TRUE(logged("[INF] signatures loaded: 1 entries, version test-1\n"));
}

TEST_F(ScanWorkerTest, AQuarantineDirectoryThatCannotBeMadeStopsTheStart) {
  settings_.quarantineDir = folder_.write(L"file", "x") + L"\\quarantine";
  writeSettingsFile(settings_, settingsPath());
  ScanWorker worker;
  std::string error;
  EXPECT_FALSE(worker.init(&error));
  EXPECT_EQ(error, "cannot create quarantine dir: " + toUtf8(settings_.quarantineDir));
}

TEST_F(ScanWorkerTest, ABadHourStopsTheStartAndLeavesTheFileAlone) {
  const std::string text = "ScheduledHour=x\nUpdateServer=keep\n";
  test::writeFile(settingsPath(), text);
  {
    ScanWorker worker;
    std::string error;
    EXPECT_THROW(worker.init(&error), std::invalid_argument);
  }
  EXPECT_EQ(test::readFile(settingsPath()), text);
}

TEST_F(ScanWorkerTest, AFinishedScanIsRecordedAsCancelledAndStillCounts) {
  folder_.write(L"listed.exe", "abc");
  folder_.write(L"clean.exe", "clean");
  ScanWorker& worker = startWorker();
  scanFolder(worker);
  EXPECT_EQ(worker.getProgress().phase, L"cancelled");
  EXPECT_EQ(worker.getProgress().filesTotal, 2u);
  EXPECT_EQ(worker.getProgress().filesDone, 2u);
  EXPECT_EQ(worker.getProgress().bytesTotal, 8u);
  EXPECT_EQ(worker.getProgress().bytesDone, 8u);
  const ScanSummary summary = worker.getLastSummary();
  EXPECT_TRUE(summary.cancelled);
  EXPECT_EQ(summary.filesScanned, 2u);
  EXPECT_EQ(summary.threats, 1u);
  EXPECT_TRUE(
      logged("[INF] scan finished: files=2 threats=1 ms=" + std::to_string(summary.elapsedMs) + "\n"));
  EXPECT_EQ(savedSettings().lastThreatCount, 1u);
  EXPECT_GT(savedSettings().lastScanUtc, 1'700'000'000u);
}

TEST_F(ScanWorkerTest, ResultsHoldDetectionsAndTheCacheHoldsEveryFile) {
  const std::wstring listed = folder_.write(L"listed.exe", "abc");
  const std::wstring clean = folder_.write(L"clean.exe", "clean");
  ScanWorker& worker = startWorker();
  scanFolder(worker);
  const std::vector<ThreatRecord> results = worker.getResults();
  ASSERT_EQ(results.size(), 1u);
  EXPECT_EQ(results[0].path, listed);
  EXPECT_EQ(results[0].name, "Test.Abc");
  EXPECT_EQ(results[0].code, "Abc");
  EXPECT_EQ(results[0].severity, 3);
  EXPECT_EQ(results[0].size, 3u);
  EXPECT_EQ(results[0].sha256, kAbcSha256);
  EXPECT_EQ(results[0].labels, std::vector<std::string>{"Точное совпадение в базе угроз"});
  EXPECT_TRUE(worker.takeEvents().empty());

  const std::string cache = test::readFile(scanCachePath());
  EXPECT_NE(cache.find(toUtf8(clean) + "|5|"), std::string::npos);
  EXPECT_NE(cache.find(toUtf8(listed) + "|3|"), std::string::npos);
}

TEST_F(ScanWorkerTest, FourSwitchesOfTheUserInterfaceChangeNoScan) {
  const std::wstring listed = folder_.write(L"listed.exe", "abc");
  folder_.write(L"archive.zip",
                "PK\x03\x04"
                "abc");
  ScanWorker& worker = startWorker();
  for (const bool on : {false, true}) {
    SettingsFields settings = worker.getSettings();
    settings.scanArchives = on;
    settings.scanRemovable = on;
    settings.quarantineOnDetect = on;
    settings.showThreatModal = on;
    ASSERT_TRUE(worker.applySettings(settings, nullptr));
    scanFolder(worker);
    EXPECT_EQ(worker.getLastSummary().filesScanned, 1u);
    ASSERT_EQ(worker.getResults().size(), 1u);
    EXPECT_EQ(worker.getResults()[0].path, listed);
    EXPECT_TRUE(worker.listQuarantine().empty());
    EXPECT_EQ(test::readFile(listed), "abc");
  }
}

TEST_F(ScanWorkerTest, AListedFileOfLowSeverityIsAThreatWithoutARecord) {
  test::writeFile(seed_, std::string(kAbcSha256) + ":tag:Abc:low:Test.Abc:x\n");
  const std::wstring listed = folder_.write(L"listed.exe", "abc");
  ScanWorker& worker = startWorker();
  scanFolder(worker);
  EXPECT_EQ(worker.getLastSummary().threats, 1u);
  EXPECT_TRUE(worker.getResults().empty());
  const std::string cache = test::readFile(scanCachePath());
  EXPECT_NE(cache.find(toUtf8(listed) + "|3|"), std::string::npos);
  EXPECT_TRUE(cache.ends_with("|low\n"));
}

TEST_F(ScanWorkerTest, ANewScanBeginsWithEmptyResults) {
  const std::wstring listed = folder_.write(L"listed.exe", "abc");
  ScanWorker& worker = startWorker();
  scanFolder(worker);
  ASSERT_EQ(worker.getResults().size(), 1u);
  test::removeTree(listed);
  scanFolder(worker);
  EXPECT_TRUE(worker.getResults().empty());
}

/// Every file below a folder, and `also`, with its content and the time of its last write.
std::map<std::wstring, std::string> filesOf(const std::wstring& folder, const std::wstring& also) {
  std::map<std::wstring, std::string> files;
  const auto add = [&files](const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return;
    files[path] = std::to_string(data.ftLastWriteTime.dwHighDateTime) + "." +
                  std::to_string(data.ftLastWriteTime.dwLowDateTime) + "\n" + test::readFile(path);
  };
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) add(entry.path().wstring());
  }
  add(also);
  return files;
}

TEST_F(ScanWorkerTest, NoTargetsEndIdleAndWriteNothing) {
  folder_.write(L"bad.exe", "abc");
  settings_.lastScanUtc = 77;
  ScanWorker& worker = startWorker();
  ThreatRecord threat;
  threat.path = folder_.at(L"bad.exe");
  ASSERT_TRUE(worker.quarantineThreat(threat, nullptr));
  const auto before = filesOf(dataDir(), scanCachePath());
  EXPECT_GE(before.size(), 4u) << "settings, log, index and the stored file";
  ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {}, nullptr));
  waitForEnd(worker);
  EXPECT_EQ(worker.getProgress().phase, L"idle");
  EXPECT_FALSE(worker.getLastSummary().cancelled);
  EXPECT_EQ(filesOf(dataDir(), scanCachePath()), before);
  EXPECT_FALSE(pathExists(scanCachePath()));
}

TEST_F(ScanWorkerTest, AMemoryScanLogsItsWarningAndEndsIdle) {
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(worker.startScan(ScanScope::kMemory, {folder_.path()}, nullptr));
  waitForEnd(worker);
  EXPECT_EQ(worker.getProgress().phase, L"idle");
  EXPECT_TRUE(logged("[WRN] memory scan requested but not implemented\n"));
}

TEST_F(ScanWorkerTest, AnUnknownScopeIsACustomScan) {
  folder_.write(L"listed.exe", "abc");
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(worker.startScan(static_cast<ScanScope>(9), {folder_.path()}, nullptr));
  waitForEnd(worker);
  EXPECT_EQ(worker.getResults().size(), 1u);
}

TEST_F(ScanWorkerTest, DisabledProtectionIsReportedBeforeARunningScan) {
  settings_.protectionEnabled = false;
  std::string error;
  EXPECT_FALSE(startWorker().startScan(ScanScope::kCustom, {folder_.path()}, &error));
  EXPECT_EQ(error, "protection is disabled");
}

TEST_F(ScanWorkerTest, OfTwoScansAtOnceExactlyOneStarts) {
  test::writeLargeProgram(folder_.at(L"large.exe"));  // the scan outlasts the late start of a thread
  ScanWorker& worker = startWorker();
  std::atomic<int> started{0};
  std::atomic<int> refused{0};
  const auto tryStart = [&] {
    std::string error;
    if (worker.startScan(ScanScope::kCustom, {folder_.path()}, &error)) {
      ++started;
    } else if (error == "a scan is already running") {
      ++refused;
    }
  };
  std::thread one(tryStart);
  std::thread two(tryStart);
  one.join();
  two.join();
  EXPECT_EQ(started, 1);
  EXPECT_EQ(refused, 1);
}

TEST_F(ScanWorkerTest, CancelReturnsWhetherItHadBeenAskedBefore) {
  ScanWorker& worker = startWorker();
  EXPECT_FALSE(worker.cancelScan());
  EXPECT_TRUE(worker.cancelScan());
}

TEST_F(ScanWorkerTest, StopRefusesEverythingAfterwards) {
  ScanWorker& worker = startWorker();
  worker.stop();
  std::string error;
  EXPECT_FALSE(worker.startScan(ScanScope::kCustom, {folder_.path()}, &error));
  EXPECT_EQ(error, "service is stopping");
  EXPECT_FALSE(worker.start(&error));
  EXPECT_TRUE(logged("[INF] workers stopped\n"));
  const size_t size = log().size();
  worker.stop();
  EXPECT_EQ(log().size(), size);
}

TEST_F(ScanWorkerTest, RefusesScansAsSoonAsTheProcessIsToStop) {
  const test::FreshStopSignal stopSignal;
  ScanWorker& worker = startWorker();
  StopSignal::process().requestStop();
  std::string error;
  EXPECT_FALSE(worker.startScan(ScanScope::kCustom, {folder_.path()}, &error));
  EXPECT_EQ(error, "service is stopping");
  EXPECT_FALSE(scanning(worker));
}

TEST_F(ScanWorkerTest, StopEndsARunningScan) {
  for (int i = 0; i < 2000; ++i) folder_.write(std::to_wstring(i) + L".exe", "x");
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, nullptr));
  worker.stop();
  EXPECT_FALSE(scanning(worker));
}

TEST_F(ScanWorkerTest, ApplySettingsKeepsThePathsInForceWhereNewOnesAreEmpty) {
  ScanWorker& worker = startWorker();
  SettingsFields changed = settings_;
  changed.signatureDb.clear();
  changed.quarantineDir.clear();
  changed.updateServer.clear();
  changed.scheduledHour = 9;
  changed.lastScanUtc = 5;
  EXPECT_TRUE(worker.applySettings(changed, nullptr));
  EXPECT_EQ(worker.getSettings().signatureDb, settings_.signatureDb);
  EXPECT_EQ(worker.getSettings().quarantineDir, settings_.quarantineDir);
  EXPECT_EQ(worker.getSettings().scheduledHour, 9u);
  EXPECT_EQ(savedSettings().lastScanUtc, 5u);
}

TEST_F(ScanWorkerTest, ApplySettingsAndStopSaveEvenWhatHasNotChanged) {
  ScanWorker& worker = startWorker();
  test::removeTree(settingsPath());
  EXPECT_TRUE(worker.applySettings(settings_, nullptr));
  EXPECT_EQ(savedSettings(), settings_);
  test::removeTree(settingsPath());
  worker.stop();
  EXPECT_EQ(savedSettings(), settings_);
}

TEST_F(ScanWorkerTest, ApplySettingsSaysThatRealTimeNeedsARestart) {
  ScanWorker& worker = startWorker();
  EXPECT_TRUE(worker.applySettings(settings_, nullptr));
  EXPECT_FALSE(logged("service restart required"));
  SettingsFields changed = settings_;
  changed.realTimeEnabled = true;
  EXPECT_TRUE(worker.applySettings(changed, nullptr));
  EXPECT_TRUE(logged("[INF] real-time setting changed, service restart required\n"));
}

TEST_F(ScanWorkerTest, ReloadSwapsTheDatabaseAndAFailingOneKeepsIt) {
  ScanWorker& worker = startWorker();
  std::string error;
  test::writeFile(seed_, std::string(kAbcSha256) + "\n900150983cd24fb0d6963f7d28e17f72\n");
  EXPECT_TRUE(worker.reloadSignatures(&error));
  EXPECT_TRUE(logged("[INF] signatures reloaded: 2 entries\n"));
  test::writeFile(seed_, "");
  EXPECT_FALSE(worker.reloadSignatures(&error));
  EXPECT_EQ(error, "database is empty");
  EXPECT_EQ(worker.getStatus().signatureCount, 2u);
}

TEST_F(ScanWorkerTest, QuarantineListRestoreAndDelete) {
  const std::wstring file = folder_.write(L"bad.exe", "abc");
  ScanWorker& worker = startWorker();
  ThreatRecord threat;
  threat.path = file;
  threat.sha256 = kAbcSha256;
  threat.name = "Test.Abc";
  threat.code = "Abc";
  std::string error;
  ASSERT_TRUE(worker.quarantineThreat(threat, &error)) << error;
  EXPECT_FALSE(pathExists(file));
  EXPECT_TRUE(logged("[INF] quarantined: " + toUtf8(file) + "\n"));
  ASSERT_EQ(worker.listQuarantine().size(), 1u);
  EXPECT_EQ(worker.listQuarantine()[0].threat, "Test.Abc");
  ASSERT_TRUE(worker.restoreQuarantined(worker.listQuarantine()[0].id, &error)) << error;
  EXPECT_EQ(test::readFile(file), "abc");

  ASSERT_TRUE(worker.deleteThreat(threat, &error)) << error;
  EXPECT_FALSE(pathExists(file));
  EXPECT_TRUE(worker.listQuarantine().empty());
  EXPECT_TRUE(logged("[INF] deleted: " + toUtf8(file) + "\n"));
  EXPECT_FALSE(worker.deleteThreat(threat, &error));
  EXPECT_EQ(error, "file not found");
}

TEST_F(ScanWorkerTest, ADeleteWhoseQuarantineStepFailsKeepsTheFileAndSaysWhy) {
  const std::wstring file = folder_.write(L"bad.exe", "abc");
  ScanWorker& worker = startWorker();
  const UniqueHandle held(::CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(held);
  ThreatRecord threat;
  threat.path = file;
  std::string error;
  EXPECT_FALSE(worker.deleteThreat(threat, &error));
  EXPECT_EQ(error, "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)");
  EXPECT_EQ(test::readFile(file), "abc");
  EXPECT_TRUE(worker.listQuarantine().empty());
  EXPECT_FALSE(logged("[INF] deleted: "));
}

TEST_F(ScanWorkerTest, OwnFilesOfAnySizeDoNotKeepItFromStarting) {
  test::sparseFile(scanCachePath(), 8LL << 40);
  ASSERT_TRUE(createDirectories(dataDir()));
  test::sparseFile(liveSignaturesPath(), 8LL << 40);
  EXPECT_EQ(startWorker().getStatus().signatureVersion, "test-1");
}

TEST_F(ScanWorkerTest, SettingsThatCannotBeReadAtTheStartAreReplacedByTheDefaults) {
  test::sparseFile(settingsPath(), 8LL << 40);
  ScanWorker worker;
  std::string error;
  ASSERT_TRUE(worker.init(&error)) << error;
  EXPECT_TRUE(logged("[WRN] config not found, using defaults\n"));
  EXPECT_EQ(savedSettings(), Settings());
}

// The server end is open and silent: a read would wait for ever.
TEST_F(ScanWorkerTest, APipeAsSignatureDatabaseHoldsUpNothing) {
  settings_.signatureDb = L"\\\\.\\pipe\\korvel-engine-" + std::to_wstring(::GetCurrentProcessId());
  const UniqueHandle server(::CreateNamedPipeW(settings_.signatureDb.c_str(), PIPE_ACCESS_DUPLEX,
                                               PIPE_TYPE_BYTE,
                                               /*instances=*/4, 0, 0, 0, nullptr));
  ASSERT_TRUE(server);
  ScanWorker& worker = startWorker();
  std::string error;
  EXPECT_FALSE(worker.reloadSignatures(&error));
  EXPECT_EQ(error, "cannot open: " + toUtf8(settings_.signatureDb));
}

TEST_F(ScanWorkerTest, AReloadThatTheStopCutsReplacesNothing) {
  ScanWorker& worker = startWorker();
  const uint64_t before = worker.getStatus().signatureCount;
  // The file above the limit of the live file is not opened; one below it takes long enough to be cut.
  test::sparseFile(liveSignaturesPath(), 500LL << 20);
  bool reloaded = true;
  std::string error;
  std::thread reload([&] { reloaded = worker.reloadSignatures(&error); });
  ::Sleep(20);  // so that the first piece is read
  worker.stop();
  reload.join();
  EXPECT_FALSE(reloaded);
  EXPECT_EQ(error, "service is stopping");
  EXPECT_EQ(worker.getStatus().signatureCount, before);
  EXPECT_FALSE(logged("signatures reloaded"));
}

// Without the stop, the reload would take hours.
TEST_F(ScanWorkerTest, AStopEndsTheReloadOfAHugeSignatureFile) {
  ScanWorker& worker = startWorker();
  SettingsFields settings = settings_;
  settings.signatureDb = test::sparseFile(folder_.at(L"huge"), 8LL << 40);
  ASSERT_TRUE(worker.applySettings(settings, nullptr));
  bool reloaded = true;
  std::string error;
  std::thread reload([&] { reloaded = worker.reloadSignatures(&error); });
  ::Sleep(100);  // so that some pieces are read
  worker.stop();
  reload.join();
  EXPECT_FALSE(reloaded);
  EXPECT_EQ(error, "parse error in " + toUtf8(settings.signatureDb));
}

TEST_F(ScanWorkerTest, AReportHasTheScanItsOutcomeAndNoEvents) {
  folder_.write(L"listed.exe", "abc");
  ScanWorker& worker = startWorker();
  scanFolder(worker);
  size_t reports = 0;
  worker.reportScan([&](const ScanReport& report) {
    ++reports;
    EXPECT_FALSE(report.scanning);
    EXPECT_EQ(report.progress.phase, L"cancelled");
    EXPECT_EQ(report.lastSummary.threats, 1u);
    EXPECT_TRUE(report.events.empty());
    return size_t{0};
  });
  EXPECT_EQ(reports, 1u);
}

TEST_F(ScanWorkerTest, ACancelDuringTheScanningEndsIt) {
  test::writeLargeProgram(folder_.at(L"a.exe"));
  for (int i = 0; i < 500; ++i) folder_.write(L"b" + std::to_wstring(i) + L".exe", "x");
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, nullptr));
  ASSERT_TRUE(test::eventually([&] {
    return worker.getProgress().phase != L"counting" && worker.getProgress().phase != L"preparing";
  }));
  (void)worker.cancelScan();
  waitForEnd(worker);
  EXPECT_LT(worker.getLastSummary().filesScanned, 501u);
}

// It comes before there is a scanner to cancel, and makes later cancels of the same scan ineffective too.
TEST_F(ScanWorkerTest, ACancelBeforeTheScanningIsLost) {
  for (int i = 0; i < 300; ++i) folder_.write(std::to_wstring(i) + L".exe", "x");
  ScanWorker& worker = startWorker();
  bool early = false;
  for (int attempt = 0; attempt < 50 && !early; ++attempt) {
    ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, nullptr));
    EXPECT_FALSE(worker.cancelScan());
    const std::wstring phase = worker.getProgress().phase;
    early = phase == L"preparing" || phase == L"counting";
    EXPECT_TRUE(worker.cancelScan());
    waitForEnd(worker);
    if (early) {
      EXPECT_EQ(worker.getLastSummary().filesScanned, 300u);
    }
  }
  EXPECT_TRUE(early) << "no cancel came before the scanning";
}

TEST_F(ScanWorkerTest, StatusTellsWhatTheEngineIsDoing) {
  settings_.realTimeEnabled = true;
  settings_.protectionEnabled = false;
  const EngineStatus status = startWorker().getStatus();
  EXPECT_EQ(status.serviceVersion, "1.2.0");
  EXPECT_EQ(status.signatureCount, 1u);
  EXPECT_EQ(status.signatureVersion, "test-1");
  EXPECT_FALSE(status.protectionEnabled);
  EXPECT_FALSE(status.realTimeActive);
  EXPECT_FALSE(status.scanRunning);
  EXPECT_FALSE(status.minifilterConnected);
}

TEST_F(ScanWorkerTest, AnUpdateCheckWithoutAServerEndsWithItsTextInTheStatus) {
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(worker.startUpdateCheck(nullptr));
  EXPECT_TRUE(test::eventually([&] { return !worker.getStatus().updateCheckRunning; }));
  EXPECT_EQ(worker.getStatus().updateCheckError,
            "не задан сервер обновлений (строка UpdateServer в settings.ini)");
  EXPECT_EQ(worker.getStatus().updateCheckInstaller, "");
}

TEST_F(ScanWorkerTest, AFailedLiveUpdateLeavesItsTimeAlone) {
  settings_.updateServer = "http://127.0.0.1:1";  // no server listens there
  settings_.lastLiveUpdateUtc = 77;
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(worker.startLiveUpdate(nullptr));
  EXPECT_TRUE(test::eventually([&] { return !worker.getStatus().liveUpdateRunning; }));
  EXPECT_EQ(worker.getSettings().lastLiveUpdateUtc, 77u);
  EXPECT_FALSE(logged("live signatures updated"));
}

TEST_F(ScanWorkerTest, AReloadDuringAScanLeavesTheScanWhole) {
  for (int i = 0; i < 200; ++i) folder_.write(std::to_wstring(i) + L".exe", i % 2 ? "abc" : "x");
  ScanWorker& worker = startWorker();
  ASSERT_TRUE(worker.startScan(ScanScope::kCustom, {folder_.path()}, nullptr));
  while (scanning(worker)) ASSERT_TRUE(worker.reloadSignatures(nullptr));
  EXPECT_EQ(worker.getLastSummary().threats, 100u);
}

}  // namespace
}  // namespace korvel::svc

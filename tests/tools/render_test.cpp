#include "korvelctl/render.h"

#include <gtest/gtest.h>

#include "korvelctl/printable.h"

namespace korvel::ctl {
namespace {

ThreatRecord eicar() {
  ThreatRecord threat;
  threat.path = L"C:\\Samples\\eicar.com";
  threat.name = "EICAR-Test-File";
  threat.code = "EICAR";
  threat.severity = kSeverityHigh;
  threat.size = 68;
  threat.reasons = {{kSeverityHigh, "SIG.MATCH", "Обнаружено в базе: EICAR-Test-File", "Уровень: high"},
                    {kSeverityMedium, "FS.X", "Заголовок", ""}};
  return threat;
}

TEST(RenderBytes, ChangesUnitAtEachPowerOf1024) {
  EXPECT_EQ(renderBytes(0), "0 B");
  EXPECT_EQ(renderBytes(1023), "1023 B");
  EXPECT_EQ(renderBytes(1024), "1.0 KiB");
  EXPECT_EQ(renderBytes(1536), "1.5 KiB");
  EXPECT_EQ(renderBytes(1024 * 1024 - 1), "1.0 MiB");
  EXPECT_EQ(renderBytes(1ull << 30), "1.0 GiB");
  EXPECT_EQ(renderBytes(UINT64_MAX), "16.0 EiB");
}

TEST(RenderMilliseconds, ChangesUnitAtASecondAndAMinute) {
  EXPECT_EQ(renderMilliseconds(999), "999 ms");
  EXPECT_EQ(renderMilliseconds(1000), "1.0 s");
  EXPECT_EQ(renderMilliseconds(59'999), "59.9 s");
  EXPECT_EQ(renderMilliseconds(60'000), "1 min 0 s");
  EXPECT_EQ(renderMilliseconds(3'725'000), "62 min 5 s");
}

TEST(RenderUtc, WritesTheDateOfUnixSeconds) {
  EXPECT_EQ(renderUtc(0), "1970-01-01 00:00:00 UTC");
  EXPECT_EQ(renderUtc(951'782'399), "2000-02-28 23:59:59 UTC");
  EXPECT_EQ(renderUtc(951'782'400), "2000-02-29 00:00:00 UTC");
  EXPECT_EQ(renderUtc(253'402'300'799), "9999-12-31 23:59:59 UTC");
}

TEST(RenderUtc, ShowsAnAbsurdStampAsItsNumber) {
  EXPECT_EQ(renderUtc(253'402'300'800), "253402300800");
  EXPECT_EQ(renderUtc(UINT64_MAX), "18446744073709551615");
}

TEST(RenderThreats, SaysSoWhenThereAreNone) { EXPECT_EQ(renderThreats({}, kSeverityHigh), "no threats\n"); }

TEST(RenderThreats, NumbersThreatsFromOneAndListsTheirReasons) {
  EXPECT_EQ(renderThreats({eicar()}, kSeverityHigh),
            "#  severity  threat           code   size  file\n"
            "1  high      EICAR-Test-File  EICAR  68 B  C:\\Samples\\eicar.com\n"
            "       SIG.MATCH (high): Обнаружено в базе: EICAR-Test-File - Уровень: high\n"
            "       FS.X (medium): Заголовок\n");
}

TEST(RenderThreats, CountsWhatIsBelowTheLeastSeverityAndKeepsTheNumbers) {
  ThreatRecord medium = eicar();
  medium.severity = kSeverityMedium;
  const std::string some = renderThreats({medium, eicar(), medium}, kSeverityHigh);
  EXPECT_NE(some.find("\n2  high "), std::string::npos) << some;
  EXPECT_EQ(some.find("medium    "), std::string::npos) << some;
  EXPECT_TRUE(some.ends_with("\n2 suspicious files below severity high not shown; --all lists them\n"))
      << some;
  const std::string all = renderThreats({medium, eicar(), medium}, kSeverityClean);
  EXPECT_NE(all.find("\n3  medium "), std::string::npos) << all;
  EXPECT_EQ(all.find("not shown"), std::string::npos) << all;
  EXPECT_EQ(renderThreats({medium}, kSeverityHigh),
            "1 suspicious file below severity high not shown; --all lists them\n");
}

TEST(RenderThreats, LetsNoFileNameMoveTheCursor) {
  ThreatRecord threat = eicar();
  threat.path = L"C:\\a\x1b[2J\nb";
  threat.name = "x\ry";
  threat.reasons[0].detail = "\x1b]0;title\x07";
  const std::string text = renderThreats({threat}, kSeverityHigh);
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_EQ(text.find('\x07'), std::string::npos);
}

TEST(RenderQuarantine, SaysSoWhenItIsEmpty) { EXPECT_EQ(renderQuarantine({}), "the quarantine is empty\n"); }

TEST(RenderQuarantine, ShowsWhatTheCommandsNeed) {
  QuarantineRecord record;
  record.id = 1731650000123;
  record.originalPath = L"C:\\Samples\\eicar.com";
  record.threat = "EICAR-Test-File";
  record.code = "EICAR";
  record.size = 68;
  record.time = 1731650000;
  EXPECT_EQ(renderQuarantine({record}),
            "id             severity  threat           code   size  quarantined              stored  "
            "original file\n"
            "1731650000123  high      EICAR-Test-File  EICAR  68 B  2024-11-15 05:53:20 UTC  no      "
            "C:\\Samples\\eicar.com\n");
}

TEST(RenderSummary, CountsInOneSentence) {
  EXPECT_EQ(renderSummary(
                {.filesScanned = 1, .threats = 1, .suspicious = 0, .bytesScanned = 68, .elapsedMs = 15}, 1),
            "1 file (68 B) scanned in 15 ms: 1 threat, 0 suspicious, 1 listed\n");
  EXPECT_EQ(
      renderSummary(
          {.filesScanned = 2, .threats = 0, .suspicious = 3, .bytesScanned = 4096, .elapsedMs = 2500}, 0),
      "2 files (4.0 KiB) scanned in 2.5 s: 0 threats, 3 suspicious, 0 listed\n");
}

TEST(PercentDone, GoesByBytesAndElseByFiles) {
  EXPECT_EQ(percentDone({.filesDone = 1, .filesTotal = 4, .bytesDone = 50, .bytesTotal = 100}), 50);
  EXPECT_EQ(percentDone({.filesDone = 1, .filesTotal = 4}), 25);
  EXPECT_EQ(percentDone({}), 0);
}

TEST(PercentDone, StaysWithinAHundredWhenFilesGrewMeanwhile) {
  EXPECT_EQ(percentDone({.filesDone = 9, .filesTotal = 4, .bytesDone = 500, .bytesTotal = 100}), 100);
  EXPECT_EQ(percentDone({.bytesDone = UINT64_MAX, .bytesTotal = UINT64_MAX}), 100);
}

TEST(RenderProgress, ShowsABarOnceFilesAreCounted) {
  EXPECT_EQ(renderProgress({.phase = L"counting"}, 79), "counting");
  EXPECT_EQ(renderProgress({.filesDone = 3,
                            .filesTotal = 12,
                            .bytesDone = 25,
                            .bytesTotal = 100,
                            .currentPath = L"C:\\a.exe",
                            .phase = L"scanning"},
                           79),
            "scanning [#####...............] 25% 3/12  C:\\a.exe");
}

TEST(RenderProgress, NeverWrapsTheLine) {
  const ScanProgressInfo progress{.filesDone = 3,
                                  .filesTotal = 12,
                                  .bytesDone = 100,
                                  .bytesTotal = 100,
                                  .currentPath = std::wstring(300, L'Ж'),
                                  .phase = L"scanning"};
  for (size_t columns = 0; columns < 120; ++columns) {
    EXPECT_LE(columnsOf(renderProgress(progress, columns)), columns);
  }
}

TEST(RenderStatus, SaysWhatIsLoadedAndRunning) {
  EngineStatus status;
  status.serviceVersion = "1.2.0";
  status.signatureCount = 180;
  status.signatureVersion = "2025.11";
  status.protectionEnabled = true;
  status.scanRunning = true;
  EXPECT_EQ(renderStatus(status),
            "version:        1.2.0\n"
            "signatures:     180 (2025.11)\n"
            "protection:     on\n"
            "real-time:      off\n"
            "minifilter:     not connected\n"
            "scan:           running\n"
            "live update:    none\n"
            "update check:   none\n");
}

TEST(RenderStatus, TellsHowTheLastUpdateCheckEnded) {
  EngineStatus status;
  status.minifilterConnected = true;
  status.minifilterHandled = 1;
  status.updateCheckError = "нет связи";
  EXPECT_NE(renderStatus(status).find("signatures:     none loaded\n"), std::string::npos);
  EXPECT_NE(renderStatus(status).find("minifilter:     connected, 1 query answered\n"), std::string::npos);
  EXPECT_NE(renderStatus(status).find("update check:   failed: нет связи\n"), std::string::npos);
  status.updateCheckError.clear();
  status.updateCheckInstaller = "C:\\u\\setup.exe";
  EXPECT_NE(renderStatus(status).find("update check:   saved: C:\\u\\setup.exe\n"), std::string::npos);
}

TEST(RenderShield, ShowsTheSwitchesAndHowFreshTheSignaturesAre) {
  SettingsFields settings;
  settings.webShield = false;
  settings.liveUpdates = true;
  settings.lastLiveUpdateUtc = 951'782'399;
  EngineStatus status;
  status.signatureCount = 5;
  status.signatureVersion = "live-20000228";
  EXPECT_EQ(renderShield(settings, status),
            "web shield:        off\n"
            "live updates:      on\n"
            "last live update:  2000-02-28 23:59:59 UTC\n"
            "signatures:        5 (live-20000228)\n");
}

TEST(RenderShield, SaysWhenThereWasNoUpdateAndNothingIsLoaded) {
  SettingsFields settings;
  settings.webShield = true;
  settings.liveUpdates = false;
  EXPECT_EQ(renderShield(settings, {}),
            "web shield:        on\n"
            "live updates:      off\n"
            "last live update:  never\n"
            "signatures:        none loaded\n");
}

}  // namespace
}  // namespace korvel::ctl

// What the service makes of a settings file that a person has edited.
#include "base/utf.h"
#include "config/data_paths.h"
#include "e2e/machine.h"
#include "e2e/service_test.h"

namespace korvel::test {
namespace {

class SettingsFile : public ServiceTest {
 protected:
  SettingsFields withLines(const std::string& lines) {
    writeSettings(lines);
    startService();
    const SettingsFields read = settings();
    stopService();
    return read;
  }
};

TEST_F(SettingsFile, AMissingFileIsWrittenWithTheDefaults) {
  removeTree(settingsPath());
  startService();
  EXPECT_TRUE(logGets("[WRN] config not found, using defaults\n"));
  const std::wstring seed =
      serviceExecutable().substr(0, serviceExecutable().rfind(L'\\')) + L"\\data\\signatures.seed.txt";
  EXPECT_EQ(
      readFile(settingsPath()),
      "# Korvel Antivirus settings\nProtectionEnabled=1\nRealTimeEnabled=1\nScanArchives=0\nScanRemovable=0\n"
      "ShowThreatModal=1\nQuarantineOnDetect=0\nScheduledScan=1\nScheduledHour=4\nLastScanUtc=0\n"
      "LastThreatCount=0\nSignatureDb=" +
          toUtf8(seed) + "\nQuarantineDir=" + toUtf8(dataDir()) +
          "\\Quarantine\nLiveUpdates=1\nLastLiveUpdateUtc=0\nWebShield=1\nUpdateServer=\n");
}

TEST_F(SettingsFile, OnlyOneAndTrueAreTrue) {
  const SettingsFields read = withLines(
      "ProtectionEnabled=true\nScanArchives=1\nScanRemovable=True\nShowThreatModal=yes\nQuarantineOnDetect=1 "
      "\n"
      "ScheduledScan=\n");
  EXPECT_TRUE(read.protectionEnabled);
  EXPECT_TRUE(read.scanArchives);
  EXPECT_FALSE(read.scanRemovable);
  EXPECT_FALSE(read.showThreatModal);
  EXPECT_FALSE(read.quarantineOnDetect);
  EXPECT_FALSE(read.scheduledScan);
}

TEST_F(SettingsFile, CarriageReturnsStayInTheValues) {
  const SettingsFields read = withLines("ProtectionEnabled=1\r\nQuarantineOnDetect=1\r\n");
  EXPECT_FALSE(read.protectionEnabled);
  EXPECT_FALSE(read.quarantineOnDetect);
}

TEST_F(SettingsFile, TheHourIsReadAsALenientNumberAndWraps) {
  EXPECT_EQ(withLines("ScheduledHour=25\n").scheduledHour, 1u);
  EXPECT_EQ(withLines("ScheduledHour=-1\n").scheduledHour, 15u);
  EXPECT_EQ(withLines("ScheduledHour=7pm\n").scheduledHour, 7u);
  EXPECT_EQ(withLines("ScheduledHour= 9\n").scheduledHour, 9u);
}

TEST_F(SettingsFile, AnHourThatIsNoNumberKeepsTheServiceFromStarting) {
  const struct {
    const char* value;
    const char* text;
  } cases[] = {{"", "invalid stoul argument"},
               {"x", "invalid stoul argument"},
               {"4294967296", "stoul argument out of range"}};
  for (const auto& [value, text] : cases) {
    writeFile(settingsPath(), std::string("ScheduledHour=") + value + "\n");
    const Finished run = runToEnd(serviceExecutable(), L"--console");
    EXPECT_EQ(run.exitCode, 1u) << value;
    EXPECT_EQ(run.output, std::string("запуск не удался: worker threw: ") + text + "\r\n") << value;
  }
}

TEST_F(SettingsFile, CountersNeverFail) {
  const SettingsFields read =
      withLines("LastScanUtc=soon\nLastThreatCount=99999999999999999999999\nLastLiveUpdateUtc=12x\n");
  EXPECT_EQ(read.lastScanUtc, 0u);
  EXPECT_EQ(read.lastThreatCount, UINT64_MAX);
  EXPECT_EQ(read.lastLiveUpdateUtc, 12u);
}

TEST_F(SettingsFile, KeysCompareExactlyAndTheLastOneWins) {
  const SettingsFields read = withLines(
      " ScanArchives=1\nscanremovable=1\nScheduledHour=3\nScheduledHour=5\nnonsense\n=\nNoSuchKey=1\n");
  EXPECT_FALSE(read.scanArchives);
  EXPECT_FALSE(read.scanRemovable);
  EXPECT_EQ(read.scheduledHour, 5u);
  EXPECT_EQ(readFile(settingsPath()).find("NoSuchKey"), std::string::npos)
      << "lost at the save that ends a run";
}

TEST_F(SettingsFile, ABinaryFileIsJustManyUnknownLines) {
  std::string noise;
  for (int i = 0; i < 5000; ++i) noise.push_back(static_cast<char>(i * 37 % 251));
  EXPECT_TRUE(withLines(noise + "\n").protectionEnabled);
}

}  // namespace
}  // namespace korvel::test

#include "korvelctl/model/settings_edit.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "korvelctl/cli/words/scan_words.h"
#include "korvelctl/model/decision.h"
#include "korvelctl/model/health.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/progress.h"
#include "records/settings_keys.h"
#include "scan/scan_filter.h"

namespace korvel::ctl {
namespace {

std::string refusal(const std::string& assignment) {
  SettingsFields settings, before;
  std::string key;
  const auto text = setSetting(settings, assignment, Language::kEnglish, &key);
  EXPECT_EQ(settings, before) << assignment;
  return text.value_or("");
}

TEST(SettingsEdit, TakesEveryFormOfAKeyAndAPlainValue) {
  SettingsFields settings;
  std::string key;
  EXPECT_FALSE(setSetting(settings, "webshield=OFF", Language::kEnglish, &key));
  EXPECT_EQ(key, "WebShield");
  EXPECT_FALSE(settings.webShield);
  EXPECT_FALSE(setSetting(settings, "ScheduledHour=23", Language::kEnglish, &key));
  EXPECT_EQ(settings.scheduledHour, 23u);
  EXPECT_FALSE(setSetting(settings, "QuarantineDir=\\\\server\\share\\q=1", Language::kEnglish, &key));
  EXPECT_EQ(settings.quarantineDir, L"\\\\server\\share\\q=1");
}

TEST(SettingsEdit, RefusesWhatTheServiceWouldReadInAnotherWay) {
  EXPECT_EQ(refusal("ScheduledHour=24"), "ScheduledHour is an hour from 0 to 23 in UTC, not '24'");
  for (const char* wrong :
       {"ScheduledHour= 4", "ScheduledHour=+4", "ScheduledHour=", "WebShield=2",
        "WebShield=", "SignatureDb=db.txt", "SignatureDb=C:db.txt", "SignatureDb=C:\\a\nb", "LastScanUtc=1",
        "UpdateServer=http://x", "NoSuchKey=1", "WebShield"}) {
    EXPECT_NE(refusal(wrong), "") << wrong;
  }
}

TEST(SettingsEdit, EveryKeyHasAMeaning) {
  const SettingsFields settings;
  ASSERT_EQ(settingInfos().size(), std::size(kSettingKeys));
  for (size_t i = 0; i < settingInfos().size(); ++i) {
    EXPECT_EQ(settingInfos()[i].key, kSettingKeys[i].key);
    EXPECT_NE(settingMeaning(settings, kSettingKeys[i].key, Look()), "");
  }
  EXPECT_EQ(settingsJson(settings).size(), 15u);
}

TEST(SettingsEdit, TheHourIsShownInBothClocks) {
  Look look;
  look.localTime = [](uint64_t utc) { return utc + 3 * 3'600; };
  SettingsFields settings;
  settings.scheduledHour = 22;
  EXPECT_EQ(settingMeaning(settings, "ScheduledHour", look),
            "hour of the daily scan: 22:00 UTC, 01:00 local time");
}

TEST(Decision, QuarantineIsNeverTouchedAndWindowsOnlyByForce) {
  EXPECT_FALSE(guardAgainst({}, false, Language::kEnglish));
  EXPECT_TRUE(guardAgainst({.inWindowsFolder = true}, false, Language::kEnglish));
  EXPECT_FALSE(guardAgainst({.inWindowsFolder = true}, true, Language::kEnglish));
  EXPECT_TRUE(guardAgainst({.inQuarantineStore = true}, false, Language::kEnglish));
  EXPECT_TRUE(guardAgainst({.inQuarantineStore = true}, true, Language::kEnglish));
}

TEST(Decision, AgesHaveAUnit) {
  EXPECT_EQ(ageOption("30d"), 30u * 86'400);
  EXPECT_EQ(ageOption("12h"), 12u * 3'600);
  EXPECT_EQ(ageOption("45m"), 45u * 60);
  EXPECT_EQ(ageOption("2"), 2u * 86'400);
  for (const char* wrong : {"", "d", "1w", "-1d", "1dd", "999999999999999999999d"})
    EXPECT_FALSE(ageOption(wrong)) << wrong;
}

TEST(Health, NamesWhatIsWrong) {
  EngineStatus status{.signatureCount = 5, .protectionEnabled = true, .realTimeActive = true};
  SettingsFields settings;
  settings.lastLiveUpdateUtc = 1'000'000;
  const auto ids = [&](uint64_t now) {
    std::string text;
    for (const HealthProblem& problem : healthProblems(status, settings, now, Language::kEnglish))
      text += std::string(problem.id) + " ";
    return text;
  };
  EXPECT_EQ(ids(1'000'000), "");
  EXPECT_EQ(ids(1'000'000 + kOldDatabaseSeconds), "") << "three days are not too old yet";
  EXPECT_EQ(ids(1'000'001 + kOldDatabaseSeconds), "old_database ");
  settings.liveUpdates = false;
  EXPECT_EQ(ids(1'000'001 + kOldDatabaseSeconds), "") << "nobody expects updates";
  status.signatureCount = 0;
  status.updateCheckError = "http status 404";
  EXPECT_EQ(ids(1'000'000), "no_signatures update_check_failed ");
  status.protectionEnabled = status.realTimeActive = false;
  EXPECT_EQ(ids(1'000'000), "protection_off no_signatures update_check_failed ");
  settings.realTimeEnabled = false;
  EXPECT_EQ(ids(1'000'000), "protection_off real_time_off no_signatures update_check_failed ");
}

ScanProgressInfo halfWay() {
  return {.filesDone = 12'480,
          .filesTotal = 20'114,
          .bytesDone = 3ull << 30,
          .bytesTotal = 5ull << 30,
          .currentPath = L"C:\\Users\\Иван\\AppData\\Local\\Temp\\unpack\\core.dll",
          .phase = scan_phase::kScanning};
}

TEST(Progress, NeverClaimsTheEnd) {
  ScanProgressInfo progress = halfWay();
  EXPECT_EQ(percentDone(progress), 60);
  progress.bytesDone = progress.bytesTotal;
  EXPECT_EQ(percentDone(progress), 99);
  progress.bytesTotal = 0;
  EXPECT_EQ(percentDone(progress), 62) << "by files where the bytes are not known";
  EXPECT_EQ(percentDone({}), 0);
}

TEST(Progress, ALineFitsAndSaysWhatIsLeft) {
  ScanPace pace;
  ScanProgressInfo progress = halfWay();
  progress.bytesDone = 0;
  pace.see(progress, 1'000);
  EXPECT_FALSE(pace.secondsLeft()) << "not before there is a pace";
  pace.see(halfWay(), 31'000);
  EXPECT_EQ(pace.secondsLeft(), 20u);
  for (const size_t columns : {30u, 60u, 80u, 120u})
    EXPECT_LE(columnsOf(progressText(halfWay(), pace, Language::kRussian, columns)), columns);
  const std::string line = progressText(halfWay(), pace, Language::kRussian, 0);
  EXPECT_TRUE(
      line.starts_with("60% [============>       ] 12\u00A0480/20\u00A0114 файлов  3,0\u00A0ГБ/5,0\u00A0ГБ"))
      << line;
  EXPECT_NE(line.find("ост. 00:20"), std::string::npos) << line;
}

TEST(ScanHelp, NamesExactlyTheExtensionsThatAreScanned) {
  const std::string text = words::kScanNoteExtensions.in(Language::kEnglish);
  const size_t begin = text.find(": ") + 2, end = text.find(". ", begin);
  int count = 0;
  std::string word;
  for (const char c : text.substr(begin, end - begin) + ",") {
    if (c == ' ') continue;
    if (c != ',') {
      word += c;
      continue;
    }
    EXPECT_TRUE(shouldScan(L"C:\\folder\\name." + std::wstring(word.begin(), word.end()), ScanOptions()))
        << word;
    ++count;
    word.clear();
  }
  EXPECT_EQ(count, 35);
}

}  // namespace
}  // namespace korvel::ctl

#include "config/settings_text.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "base/utf.h"

namespace korvel {
namespace {

using namespace std::string_view_literals;

SettingsFields parsed(std::string_view text) {
  SettingsFields settings;
  parseSettingsText(text, settings);
  return settings;
}

/// A record in which every field differs from its default.
SettingsFields everythingChanged() {
  SettingsFields settings;
  settings.protectionEnabled = false;
  settings.realTimeEnabled = false;
  settings.scanArchives = true;
  settings.scanRemovable = true;
  settings.showThreatModal = false;
  settings.quarantineOnDetect = true;
  settings.scheduledScan = false;
  settings.scheduledHour = 23;
  settings.lastScanUtc = 1'731'650'000;
  settings.lastThreatCount = 17;
  settings.liveUpdates = false;
  settings.lastLiveUpdateUtc = UINT64_MAX;
  settings.webShield = false;
  settings.updateServer = "https://обновления.example/?a=b";
  settings.signatureDb = L"D:\\Базы\\seed.txt";
  settings.quarantineDir = L"D:\\Карантин = все";
  return settings;
}

constexpr char kEverythingChanged[] =
    "# Korvel Antivirus settings\n"
    "ProtectionEnabled=0\n"
    "RealTimeEnabled=0\n"
    "ScanArchives=1\n"
    "ScanRemovable=1\n"
    "ShowThreatModal=0\n"
    "QuarantineOnDetect=1\n"
    "ScheduledScan=0\n"
    "ScheduledHour=23\n"
    "LastScanUtc=1731650000\n"
    "LastThreatCount=17\n"
    "SignatureDb=D:\\Базы\\seed.txt\n"
    "QuarantineDir=D:\\Карантин = все\n"
    "LiveUpdates=0\n"
    "LastLiveUpdateUtc=18446744073709551615\n"
    "WebShield=0\n"
    "UpdateServer=https://обновления.example/?a=b\n";

// --- defaults ---

// --- writing ---

TEST(FormatSettingsText, WritesTheDefaultsInTheFixedOrder) {
  SettingsFields defaults;
  defaults.signatureDb = L"C:\\Program Files\\Korvel\\data\\signatures.seed.txt";
  defaults.quarantineDir = L"C:\\ProgramData\\KORVEL Antivirus\\Quarantine";
  EXPECT_EQ(formatSettingsText(defaults),
            "# Korvel Antivirus settings\n"
            "ProtectionEnabled=1\n"
            "RealTimeEnabled=1\n"
            "ScanArchives=0\n"
            "ScanRemovable=0\n"
            "ShowThreatModal=1\n"
            "QuarantineOnDetect=0\n"
            "ScheduledScan=1\n"
            "ScheduledHour=4\n"
            "LastScanUtc=0\n"
            "LastThreatCount=0\n"
            "SignatureDb=C:\\Program Files\\Korvel\\data\\signatures.seed.txt\n"
            "QuarantineDir=C:\\ProgramData\\KORVEL Antivirus\\Quarantine\n"
            "LiveUpdates=1\n"
            "LastLiveUpdateUtc=0\n"
            "WebShield=1\n"
            "UpdateServer=\n");
}

TEST(FormatSettingsText, WritesEveryField) {
  EXPECT_EQ(formatSettingsText(everythingChanged()), kEverythingChanged);
}

// --- reading ---

TEST(ParseSettingsText, ReadsEveryKey) { EXPECT_EQ(parsed(kEverythingChanged), everythingChanged()); }

TEST(ParseSettingsText, ReadsEveryKeyBack) {
  SettingsFields settings = everythingChanged();
  parseSettingsText(formatSettingsText(SettingsFields()), settings);
  EXPECT_EQ(settings, SettingsFields());
}

TEST(ParseSettingsText, EmptyTextChangesNothing) {
  SettingsFields settings = everythingChanged();
  parseSettingsText("", settings);
  EXPECT_EQ(settings, everythingChanged());
}

TEST(ParseSettingsText, MissingKeysKeepTheirValueAndTheNextSaveWritesThemAll) {
  SettingsFields expected;
  expected.scanArchives = true;
  const SettingsFields settings = parsed("ScanArchives=1\n");
  EXPECT_EQ(settings, expected);
  EXPECT_EQ(parsed(formatSettingsText(settings)), expected);
}

TEST(ParseSettingsText, TheLastLineNeedsNoLineFeed) {
  EXPECT_TRUE(parsed("WebShield=0\nScanArchives=1").scanArchives);
}

TEST(ParseSettingsText, SkipsLinesWithoutAnEqualsSign) {
  EXPECT_EQ(parsed("\n\nScanArchives\n# Korvel\n[ScanArchives]\n\n"), SettingsFields());
}

TEST(ParseSettingsText, ALineThatLooksLikeACommentButHoldsAnEqualsSignIsAnUnknownKey) {
  EXPECT_EQ(parsed("#ScanArchives=1\n=1\n"), SettingsFields());
}

TEST(ParseSettingsText, KeysMatchExactly) {
  EXPECT_TRUE(parsed(" ProtectionEnabled=0\n").protectionEnabled);
  EXPECT_TRUE(parsed("ProtectionEnabled =0\n").protectionEnabled);
  EXPECT_TRUE(parsed("\tProtectionEnabled=0\n").protectionEnabled);
  EXPECT_TRUE(parsed("protectionenabled=0\n").protectionEnabled);
  EXPECT_TRUE(parsed("ProtectionEnable=0\n").protectionEnabled);
  EXPECT_TRUE(parsed("ProtectionEnabledX=0\n").protectionEnabled);
  EXPECT_TRUE(parsed("\xEF\xBB\xBFProtectionEnabled=0\n").protectionEnabled);  // a byte-order mark
  EXPECT_TRUE(parsed("Protection\0Enabled=0\n"sv).protectionEnabled);
  EXPECT_FALSE(parsed("ProtectionEnabled=0\n").protectionEnabled);
}

TEST(ParseSettingsText, OnlyOneAndTrueAreTrue) {
  EXPECT_TRUE(parsed("ScanArchives=1\n").scanArchives);
  EXPECT_TRUE(parsed("ScanArchives=true\n").scanArchives);
  for (const char* value : {"0", "false", "True", "TRUE", "yes", "1 ", " 1", "01", "11", "", "true ", "on"}) {
    EXPECT_FALSE(parsed("WebShield=" + std::string(value) + "\n").webShield) << value;
  }
}

TEST(ParseSettingsText, AZeroByteIsAByteLikeAnyOther) {
  EXPECT_FALSE(parsed("ScanArchives=1\0\n"sv).scanArchives);
  EXPECT_EQ(parsed("LastThreatCount=1\0x\n"sv).lastThreatCount, 1u);
  EXPECT_EQ(parsed("UpdateServer=a\0b\n"sv).updateServer, "a\0b"sv);
  EXPECT_EQ(parsed("SignatureDb=a\0b\n"sv).signatureDb, L"a\0b"sv);
}

TEST(ParseSettingsText, TheLastDuplicateWins) {
  EXPECT_EQ(parsed("LastThreatCount=1\nLastThreatCount=2\n").lastThreatCount, 2u);
  EXPECT_FALSE(parsed("ScanArchives=1\nScanArchives=no\n").scanArchives);
}

TEST(ParseSettingsText, SplitsAtTheFirstEqualsSign) {
  EXPECT_EQ(parsed("UpdateServer=a=b\n").updateServer, "a=b");
  EXPECT_EQ(parsed("UpdateServer==\n").updateServer, "=");
  EXPECT_EQ(parsed("UpdateServer= a \t\n").updateServer, " a \t");
}

// A file that was edited with CR LF.
TEST(ParseSettingsText, CarriageReturnsStayInTheValues) {
  const SettingsFields settings = parsed(
      "ProtectionEnabled=1\r\nScanArchives=true\r\nScheduledHour=7\r\nLastThreatCount=9\r\n"
      "SignatureDb=C:\\a\r\nQuarantineDir=C:\\b\r\nUpdateServer=c\r\n");
  EXPECT_FALSE(settings.protectionEnabled);
  EXPECT_FALSE(settings.scanArchives);
  EXPECT_EQ(settings.scheduledHour, 7u);
  EXPECT_EQ(settings.lastThreatCount, 9u);
  EXPECT_EQ(settings.signatureDb, L"C:\\a\r");
  EXPECT_EQ(settings.quarantineDir, L"C:\\b\r");
  EXPECT_EQ(settings.updateServer, "c\r");
}

TEST(ParseSettingsText, CrLfMakesEachOfTheNineBooleansFalse) {
  int booleans = 0;
  for (const auto& [key, field] : kSettingKeys) {
    const auto* boolean = std::get_if<bool SettingsFields::*>(&field);
    if (boolean == nullptr) continue;
    ++booleans;
    for (const char* value : {"=1", "=true"}) {
      EXPECT_TRUE(parsed(std::string(key) + value + "\n").*(*boolean)) << key;
      EXPECT_FALSE(parsed(std::string(key) + value + "\r\n").*(*boolean)) << key;
    }
  }
  EXPECT_EQ(booleans, 9);
}

TEST(ParseSettingsText, PathsComeFromUtf8AndMayBeEmpty) {
  EXPECT_EQ(parsed("SignatureDb=C:\\Базы\n").signatureDb, toWide("C:\\Базы"));
  EXPECT_EQ(parsed("QuarantineDir=\n").quarantineDir, L"");
  EXPECT_EQ(parsed("SignatureDb=C:\\a\x80z\n").signatureDb, L"C:\\a\xFFFDz");  // no UTF-8
}

TEST(ParseSettingsText, LargeNumbersNeverFail) {
  const auto count = [](const std::string& value) {
    return parsed("LastThreatCount=" + value + "\n").lastThreatCount;
  };
  EXPECT_EQ(count("18446744073709551615"), UINT64_MAX);
  EXPECT_EQ(count("18446744073709551616"), UINT64_MAX);
  EXPECT_EQ(count("99999999999999999999999999"), UINT64_MAX);
  EXPECT_EQ(count(""), 0u);
  EXPECT_EQ(count("many"), 0u);
  EXPECT_EQ(count("12 files"), 12u);
  EXPECT_EQ(count(" \t12"), 12u);
  EXPECT_EQ(count("-1"), UINT64_MAX);
  EXPECT_EQ(parsed("LastScanUtc=5x\nLastLiveUpdateUtc=x\n").lastScanUtc, 5u);
  EXPECT_EQ(parsed("LastScanUtc=5x\nLastLiveUpdateUtc=x\n").lastLiveUpdateUtc, 0u);
}

// --- the hour ---

struct HourCase {
  const char* value;
  uint32_t hour;
};

TEST(ScheduledHour, IsReadAsAnUnsigned32BitNumberModulo24) {
  constexpr HourCase kCases[] = {
      {"0", 0},           {"4", 4},     {"23", 23},
      {"24", 0},          {"25", 1},    {"-1", 15},
      {"+5", 5},          {"-0", 0},    {"7pm", 7},
      {"7.9", 7},         {" 8", 8},    {"\t\v\f\r 9", 9},
      {"0x10", 0},        {"007", 7},   {"-4294967295", 1},
      {"4294967295", 15}, {"10\r", 10}, {"-23", 4294967273u % 24},
  };
  for (const HourCase& c : kCases) {
    EXPECT_EQ(parsed("ScheduledHour=" + std::string(c.value) + "\n").scheduledHour, c.hour) << c.value;
  }
}

TEST(ScheduledHour, WithoutANumberAtItsStartThrows) {
  for (const char* value : {"", "x", " ", "+", "-", "+-5", "- 5", "--5", "\r", "pm7"}) {
    try {
      parsed("ScheduledHour=" + std::string(value) + "\n");
      ADD_FAILURE() << '"' << value << "\" was read";
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), "invalid stoul argument");
    }
  }
}

TEST(ScheduledHour, Beyond32BitsThrows) {
  for (const char* value :
       {"4294967296", "-4294967296", "99999999999999999999999999", "18446744073709551617"}) {
    try {
      parsed("ScheduledHour=" + std::string(value) + "\n");
      ADD_FAILURE() << '"' << value << "\" was read";
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "stoul argument out of range");
    }
  }
}

TEST(ScheduledHour, ThrowsAtTheFirstBadDuplicateAndKeepsWhatWasReadBefore) {
  SettingsFields settings;
  EXPECT_THROW(parseSettingsText("ScanArchives=1\nScheduledHour=x\nScheduledHour=5\nWebShield=0\n", settings),
               std::invalid_argument);
  EXPECT_TRUE(settings.scanArchives);
  EXPECT_EQ(settings.scheduledHour, 4u);
  EXPECT_TRUE(settings.webShield);
}

// --- sweeps ---

// Each prefix in a heap block of its own, so that a sanitizer sees one byte too many.
TEST(ParseSettingsText, EveryPrefixOfAFileReadsOrThrows) {
  const std::string text = kEverythingChanged;
  for (size_t size = 0; size <= text.size(); ++size) {
    const std::unique_ptr<char[]> block(new char[size]);
    text.copy(block.get(), size);
    SettingsFields settings;
    bool thrown = false;
    try {
      parseSettingsText(std::string_view(block.get(), size), settings);
    } catch (const std::invalid_argument&) {
      thrown = true;
    }
    EXPECT_EQ(thrown, text.substr(0, size).ends_with("ScheduledHour=")) << size;
  }
}

}  // namespace
}  // namespace korvel

#include "korvelctl/model/settings_lint.h"

#include <gtest/gtest.h>

#include "config/settings_text.h"

namespace korvel::ctl {
namespace {

using enum LintRule;

/// "rule:line" for each finding.
std::vector<std::string> lint(std::string_view text) {
  std::vector<std::string> found;
  for (const LintFinding& finding : lintSettings(text))
    found.push_back(std::string(lintRuleName(finding.rule)) + ":" + std::to_string(finding.line));
  return found;
}
using Found = std::vector<std::string>;

LintFinding only(std::string_view text) {
  const std::vector<LintFinding> findings = lintSettings(text);
  EXPECT_EQ(findings.size(), 1u) << text;
  return findings.empty() ? LintFinding{} : findings[0];
}

std::string wholeFile() {
  SettingsFields settings;
  settings.signatureDb = L"C:\\k\\signatures.seed.txt";
  settings.quarantineDir = L"\\\\server\\share\\q";
  settings.updateServer = "https://updates.example";
  return formatSettingsText(settings);
}

TEST(LintSettings, FindsNothingInWhatTheServiceWrites) {
  EXPECT_EQ(lint(wholeFile()), Found{});
  EXPECT_EQ(lint(""), Found{});
}

TEST(LintSettings, NamesTheHourThatKeepsTheServiceFromStarting) {
  for (const char* hour : {"", "x", "-", "99999999999", "\r"}) {
    const LintFinding finding = lintSettings("A\nScheduledHour=" + std::string(hour) + "\n").back();
    EXPECT_EQ(finding.rule, kBadHour) << hour;
    EXPECT_EQ(finding.line, 2u);
    EXPECT_EQ(lintLevel(finding.rule), LintLevel::kError);
  }
}

TEST(LintSettings, CountsCarriageReturnsOnceAndTellsWhatTheyDo) {
  const std::vector<LintFinding> findings =
      lintSettings("# Korvel Antivirus settings\r\nWebShield=1\r\nScheduledHour=4\r\nSignatureDb=C:\\a\r\n");
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].rule, kCarriageReturn);
  EXPECT_EQ(findings[0].line, 1u);
  EXPECT_EQ(findings[0].times, 4u);
}

TEST(LintSettings, FindsKeysThatTheServiceIgnores) {
  EXPECT_EQ(only(" ProtectionEnabled=0\n").meant, "ProtectionEnabled");
  EXPECT_EQ(only("protectionenabled=0\n").rule, kKeySpelling);
  EXPECT_EQ(only("ProtectionEnabled =0\n").rule, kKeySpelling);
  const LintFinding typo = only("ProtectionEnabld=0\n");
  EXPECT_EQ(typo.rule, kUnknownKey);
  EXPECT_EQ(typo.meant, "ProtectionEnabled");
  EXPECT_EQ(only("Colour=blue\n").meant, "");
}

TEST(LintSettings, FindsTheByteOrderMarkInFrontOfAKey) {
  EXPECT_EQ(lint("\xEF\xBB\xBFWebShield=0\n"), Found{"byte_order_mark:1"});
  EXPECT_EQ(lint("\xEF\xBB\xBF# Korvel Antivirus settings\n"), Found{"byte_order_mark:1"});
}

TEST(LintSettings, FindsTheDuplicatesThatDoNotCount) {
  EXPECT_EQ(lint("WebShield=1\nScanArchives=0\nWebShield=0\nWebShield=1\n"),
            (Found{"duplicate_key:1", "duplicate_key:3"}));
}

TEST(LintSettings, TakesAVeryLongFileInItsStride) {
  std::string text;
  for (int i = 0; i < 20'000; ++i) text += "WebShield=1\n";
  EXPECT_EQ(lintSettings(text).size(), 19'999u);
}

TEST(LintSettings, TellsHowAnOddValueIsRead) {
  EXPECT_EQ(only("WebShield=TRUE\n").rule, kBoolean);
  EXPECT_EQ(only("WebShield=TRUE\n").readAs, "0");
  EXPECT_EQ(only("ScheduledHour=25\n").readAs, "1");
  EXPECT_EQ(only("ScheduledHour=-1\n").readAs, "15");
  EXPECT_EQ(only("ScheduledHour=7pm\n").readAs, "7");
  EXPECT_EQ(only("ScheduledHour=24\n").rule, kHourWraps);
  EXPECT_EQ(only("LastScanUtc=soon\n").readAs, "0");
  EXPECT_EQ(lint("ScheduledHour=23\nScheduledScan=false\nLiveUpdates=true\nLastScanUtc=017\n"), Found{});
}

TEST(LintSettings, LooksAtPathsAndTheServer) {
  EXPECT_EQ(only("SignatureDb=\n").rule, kEmptyPath);
  EXPECT_EQ(only("SignatureDb=data\\seed.txt\n").rule, kRelativePath);
  EXPECT_EQ(only("QuarantineDir=C:q\n").rule, kRelativePath);
  EXPECT_EQ(only("QuarantineDir=C:\\q \n").rule, kValueBlanks);
  EXPECT_EQ(only("UpdateServer=updates.example\n").rule, kServerScheme);
  EXPECT_EQ(lint("UpdateServer=\nQuarantineDir=D:/q\n"), Found{});
  EXPECT_EQ(lint("UpdateServer=HTTP://u\n"), Found{});
}

TEST(LintSettings, CommentsAreNotesAndNoFindings) {
  EXPECT_EQ(lint("# mine\nWebShield=1\n"), Found{"comment:1"});
  EXPECT_FALSE(hasLintFindings(lintSettings("# mine\nWebShield=1\n")));
  EXPECT_TRUE(hasLintFindings(lintSettings("WebShield=yes\n")));
}

TEST(LintSettings, FindsTextInAnotherEncoding) {
  EXPECT_EQ(lint(std::string_view("\xFF\xFEW\0e\0b\0\n\0", 10)), (Found{"nul:1", "comment:1", "comment:2"}));
}

TEST(FixedSettings, IsWhatTheServiceWouldWrite) { EXPECT_EQ(fixedSettings(wholeFile()), wholeFile()); }

TEST(FixedSettings, PutsSpellingBlanksAndLineEndsRight) {
  EXPECT_EQ(fixedSettings("\xEF\xBB\xBFwebshield = Off\r\n; a remark\r\nUpdateServer=https://u/a=b \r\n"
                          "SCHEDULEDHOUR=25\r\nProtectionEnabled=maybe\r\nColour=blue\r\n"),
            "# Korvel Antivirus settings\nScheduledHour=1\nWebShield=0\nUpdateServer=https://u/a=b\n");
}

TEST(FixedSettings, LeavesAValueOutThatSaysNothing) {
  EXPECT_EQ(fixedSettings("ScheduledHour=x\nSignatureDb=\nUpdateServer=\n"),
            "# Korvel Antivirus settings\nUpdateServer=\n");
}

TEST(FixedSettings, KeepsTheLastOfSeveral) {
  EXPECT_EQ(fixedSettings("WebShield=0\nWebShield=1\nwebshield=0\n"),
            "# Korvel Antivirus settings\nWebShield=0\n");
}

TEST(FixedSettings, HasNoFindingLeftThatItCanCure) {
  const std::string text =
      "\xEF\xBB\xBFWebShield=YES\r\n "
      "ScheduledHour=99x\r\nScanArchives=\r\nLastScanUtc=12a\r\nWebShield=no\r\n"
      "x=y\r\n# c\r\nQuarantineDir= C:\\q \r\n";
  EXPECT_EQ(lint(fixedSettings(text)), Found{});
  EXPECT_EQ(fixedSettings(fixedSettings(text)), fixedSettings(text));
}

}  // namespace
}  // namespace korvel::ctl

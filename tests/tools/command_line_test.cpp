#include "korvelctl/command_line.h"

#include <gtest/gtest.h>

#include "korvelctl/exit_codes.h"

namespace korvel::ctl {
namespace {

Command commandOf(const std::vector<std::string>& arguments) {
  const auto parsed = parseCommandLine(arguments);
  if (const auto* notice = std::get_if<Notice>(&parsed)) {
    ADD_FAILURE() << notice->text;
    return {};
  }
  return std::get<Command>(parsed);
}

Notice noticeOf(const std::vector<std::string>& arguments) {
  const auto parsed = parseCommandLine(arguments);
  if (const auto* notice = std::get_if<Notice>(&parsed)) return *notice;
  ADD_FAILURE() << "accepted";
  return {};
}

TEST(CommandLine, PlainCommandsAreTheirAction) {
  EXPECT_EQ(commandOf({"status"}).action, Action::kStatus);
  EXPECT_EQ(commandOf({"ping"}).action, Action::kPing);
  EXPECT_EQ(commandOf({"reload"}).action, Action::kReload);
  EXPECT_EQ(commandOf({"cancel"}).action, Action::kCancel);
  EXPECT_EQ(commandOf({"stop"}).action, Action::kStop);
}

TEST(CommandLine, JsonMayStandBeforeOrBehindTheCommand) {
  EXPECT_FALSE(commandOf({"status"}).json);
  EXPECT_TRUE(commandOf({"--json", "status"}).json);
  EXPECT_TRUE(commandOf({"status", "--json"}).json);
  EXPECT_TRUE(commandOf({"quarantine", "list", "--json"}).json);
}

TEST(CommandLine, ScanTakesAScope) {
  EXPECT_EQ(commandOf({"scan", "quick"}).scope, ScanScope::kQuick);
  EXPECT_EQ(commandOf({"scan", "full"}).scope, ScanScope::kFull);
  EXPECT_TRUE(commandOf({"scan", "full"}).folders.empty());
}

TEST(CommandLine, ScanTakesFoldersWithBlanksAndOfAnyScript) {
  const Command command = commandOf({"scan", "C:\\Program Files", "D:\\Загрузки"});
  EXPECT_EQ(command.action, Action::kScan);
  EXPECT_EQ(command.scope, ScanScope::kCustom);
  EXPECT_EQ(command.folders, (std::vector<std::string>{"C:\\Program Files", "D:\\Загрузки"}));
}

TEST(CommandLine, AFolderMayBeNamedLikeAScopeWhenWrittenAsAPath) {
  EXPECT_EQ(commandOf({"scan", ".\\quick"}).scope, ScanScope::kCustom);
}

TEST(CommandLine, AScopeStandsAlone) {
  EXPECT_EQ(noticeOf({"scan", "quick", "C:\\a"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"scan", "C:\\a", "full"}).exitCode, kExitUsage);
}

TEST(CommandLine, ScanNeedsATarget) { EXPECT_EQ(noticeOf({"scan"}).exitCode, kExitUsage); }

TEST(CommandLine, ProgressHasFourStyles) {
  EXPECT_EQ(commandOf({"scan", "quick"}).progress, ProgressStyle::kAuto);
  EXPECT_EQ(commandOf({"scan", "quick", "--progress", "bar"}).progress, ProgressStyle::kBar);
  EXPECT_EQ(commandOf({"scan", "--progress", "lines", "quick"}).progress, ProgressStyle::kLines);
  EXPECT_EQ(commandOf({"scan", "--progress=none", "quick"}).progress, ProgressStyle::kNone);
  EXPECT_EQ(noticeOf({"scan", "quick", "--progress", "loud"}).exitCode, kExitUsage);
}

TEST(CommandLine, ThreatsAreListedOrActedOn) {
  EXPECT_EQ(commandOf({"threats"}).action, Action::kListThreats);
  const Command command = commandOf({"threats", "quarantine", "1", "12"});
  EXPECT_EQ(command.action, Action::kQuarantineThreats);
  EXPECT_EQ(command.numbers, (std::vector<uint64_t>{1, 12}));
  EXPECT_EQ(commandOf({"threats", "delete", "3"}).action, Action::kDeleteThreats);
}

TEST(CommandLine, AllListsWhatIsMerelySuspicious) {
  EXPECT_FALSE(commandOf({"scan", "quick"}).all);
  EXPECT_TRUE(commandOf({"scan", "quick", "--all"}).all);
  EXPECT_TRUE(commandOf({"threats", "--all"}).all);
  EXPECT_EQ(leastListed(commandOf({"threats"})), kSeverityHigh);
  EXPECT_EQ(leastListed(commandOf({"threats", "--all"})), kSeverityClean);
}

TEST(CommandLine, ThreatNumbersCountFromOne) {
  EXPECT_EQ(noticeOf({"threats", "quarantine", "0"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"threats", "quarantine", "-1"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"threats", "quarantine", "one"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"threats", "quarantine", "1x"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"threats", "quarantine", "010"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"threats", "quarantine", ""}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"threats", "quarantine"}).exitCode, kExitUsage);
}

TEST(CommandLine, QuarantineTakesWholeIds) {
  EXPECT_EQ(commandOf({"quarantine", "list"}).action, Action::kListQuarantine);
  EXPECT_EQ(commandOf({"quarantine", "restore", "1731650000123"}).numbers,
            (std::vector<uint64_t>{1731650000123}));
  EXPECT_EQ(commandOf({"quarantine", "delete", "18446744073709551615"}).numbers,
            (std::vector<uint64_t>{UINT64_MAX}));
  EXPECT_EQ(noticeOf({"quarantine", "delete", "18446744073709551616"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"quarantine"}).exitCode, kExitUsage);
}

TEST(CommandLine, ConfigKnowsTheKeysOfTheSettings) {
  EXPECT_EQ(commandOf({"config", "list"}).action, Action::kListConfig);
  const Command command = commandOf({"config", "get", "WebShield"});
  EXPECT_EQ(command.action, Action::kGetConfig);
  EXPECT_EQ(command.key, "WebShield");
  EXPECT_EQ(noticeOf({"config", "get", "UpdateServer"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"config", "get"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"config"}).exitCode, kExitUsage);
}

TEST(CommandLine, HelpAndVersionAreNoError) {
  EXPECT_EQ(noticeOf({"--help"}).exitCode, kExitNothingFound);
  EXPECT_NE(noticeOf({"--help"}).text.find("quarantine"), std::string::npos);
  EXPECT_EQ(noticeOf({"scan", "--help"}).exitCode, kExitNothingFound);
  EXPECT_EQ(noticeOf({"--version"}).exitCode, kExitNothingFound);
  EXPECT_EQ(noticeOf({"--version"}).text, "korvelctl 1.2.0\n");
}

TEST(CommandLine, EverythingElseIsWrongUsage) {
  EXPECT_EQ(noticeOf({}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"frobnicate"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"status", "surplus"}).exitCode, kExitUsage);
  EXPECT_EQ(noticeOf({"--nosuch"}).exitCode, kExitUsage);
  EXPECT_FALSE(noticeOf({"frobnicate"}).text.empty());
}

TEST(CommandLine, FirewallStatusMayBeOfOwnRulesOnly) {
  EXPECT_EQ(commandOf({"firewall", "status"}).action, Action::kFirewallStatus);
  EXPECT_FALSE(commandOf({"firewall", "status"}).ownOnly);
  const Command own = commandOf({"firewall", "status", "--own", "--json"});
  EXPECT_TRUE(own.ownOnly);
  EXPECT_TRUE(own.json);
}

TEST(CommandLine, FirewallChangesAreWhatTheServiceIsAskedFor) {
  const auto changeOf = [](const std::vector<std::string>& arguments) {
    return commandOf(arguments).firewallChange;
  };
  EXPECT_EQ(changeOf({"firewall", "profile", "domain", "on"}), "domain,1");
  EXPECT_EQ(changeOf({"firewall", "profile", "public", "off"}), "public,0");
  EXPECT_EQ(changeOf({"firewall", "inbound", "block"}), "1");
  EXPECT_EQ(changeOf({"firewall", "inbound", "unblock"}), "0");
  EXPECT_EQ(changeOf({"firewall", "block", "a.exe"}), "block|both|");
  EXPECT_EQ(changeOf({"firewall", "allow", "a.exe", "--in"}), "allow|in|");
  EXPECT_EQ(changeOf({"firewall", "block", "--out", "a.exe"}), "block|out|");
  EXPECT_EQ(changeOf({"firewall", "allow", "a.exe", "--both"}), "allow|both|");
  EXPECT_EQ(changeOf({"firewall", "reset"}), "");
}

TEST(CommandLine, FirewallChangesHaveTheirActions) {
  EXPECT_EQ(commandOf({"firewall", "profile", "private", "on"}).action, Action::kFirewallProfile);
  EXPECT_EQ(commandOf({"firewall", "inbound", "block"}).action, Action::kFirewallInbound);
  EXPECT_EQ(commandOf({"firewall", "reset"}).action, Action::kFirewallReset);
  const Command rule = commandOf({"firewall", "block", "C:\\Игра|1.exe"});
  EXPECT_EQ(rule.action, Action::kFirewallAddRule);
  EXPECT_EQ(rule.program, "C:\\Игра|1.exe");
}

TEST(CommandLine, FirewallCommandsOfAnyOtherShapeAreWrongUsage) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"firewall"},
                                             {"firewall", "profile", "all", "on"},
                                             {"firewall", "profile", "public"},
                                             {"firewall", "profile", "public", "1"},
                                             {"firewall", "inbound"},
                                             {"firewall", "inbound", "on"},
                                             {"firewall", "block"},
                                             {"firewall", "block", "a.exe", "b.exe"},
                                             {"firewall", "block", "a.exe", "--in", "--out"},
                                             {"firewall", "allow", "a.exe", "--both", "--in"},
                                             {"firewall", "reset", "--own"}}) {
    EXPECT_EQ(noticeOf(arguments).exitCode, kExitUsage) << arguments.back();
  }
}

TEST(CommandLine, UpdatesAreWaitedForUnlessToldOtherwise) {
  EXPECT_EQ(commandOf({"update", "signatures"}).action, Action::kUpdateSignatures);
  EXPECT_EQ(commandOf({"update", "program"}).action, Action::kUpdateProgram);
  EXPECT_TRUE(commandOf({"update", "program"}).wait);
  EXPECT_FALSE(commandOf({"update", "signatures", "--no-wait"}).wait);
  EXPECT_FALSE(commandOf({"update", "program", "--no-wait", "--json"}).wait);
}

TEST(CommandLine, ShieldStatusIsAnAction) {
  EXPECT_EQ(commandOf({"shield", "status"}).action, Action::kShieldStatus);
  EXPECT_TRUE(commandOf({"shield", "status", "--json"}).json);
}

TEST(CommandLine, UpdateAndShieldCommandsOfAnyOtherShapeAreWrongUsage) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"update"},
                                             {"update", "blocklist"},
                                             {"update", "signatures", "program"},
                                             {"update", "signatures", "now"},
                                             {"update", "--no-wait"},
                                             {"status", "--no-wait"},
                                             {"shield"},
                                             {"shield", "on"},
                                             {"shield", "status", "--no-wait"}}) {
    EXPECT_EQ(noticeOf(arguments).exitCode, kExitUsage) << arguments.back();
  }
}

}  // namespace
}  // namespace korvel::ctl

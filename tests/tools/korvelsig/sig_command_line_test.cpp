#include "korvelsig/command_line.h"

#include <gtest/gtest.h>

#include "korvelsig_run.h"

namespace korvel::sig {
namespace {

using test::kMd5;
using test::kSha256A;

Command command(const std::vector<std::string>& arguments) {
  const auto parsed = parseCommandLine(arguments);
  if (const auto* notice = std::get_if<Notice>(&parsed)) ADD_FAILURE() << notice->text;
  return std::holds_alternative<Command>(parsed) ? std::get<Command>(parsed) : Command();
}

int refusal(const std::vector<std::string>& arguments) {
  const auto parsed = parseCommandLine(arguments);
  return std::holds_alternative<Notice>(parsed) ? std::get<Notice>(parsed).exitCode : -1;
}

TEST(SigCommandLine, OptionsStandInAnyOrder) {
  const Command build =
      command({"build", "a", "--allow", "x", "-o", "out", "--allow", "y", "b", "--time", "07"});
  EXPECT_EQ(build.action, Action::kBuild);
  EXPECT_EQ(build.files, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(build.allow, (std::vector<std::string>{"x", "y"}));
  EXPECT_EQ(build.output, "out");
  EXPECT_EQ(build.time, 7u);
  EXPECT_EQ(build.version, std::nullopt);
}

TEST(SigCommandLine, JsonStandsBeforeOrAfterTheCommandAndFilesMayBeNamedLikeCommands) {
  EXPECT_TRUE(command({"--json", "verify", "x"}).json);
  EXPECT_TRUE(command({"verify", "--json", "x"}).json);
  EXPECT_EQ(command({"verify", "info", "lookup"}).files, (std::vector<std::string>{"info", "lookup"}));
}

TEST(SigCommandLine, LookupSplitsAtTheTwoDashes) {
  const Command lookup = command({"lookup", "seed", "live", "--json", "--", kMd5, "--odd name"});
  EXPECT_EQ(lookup.files, (std::vector<std::string>{"seed", "live"}));
  EXPECT_EQ(lookup.items, (std::vector<std::string>{kMd5, "--odd name"}));
  EXPECT_TRUE(lookup.json);
  EXPECT_EQ(command({"--json", "lookup", "seed", "--", kMd5}).items, (std::vector<std::string>{kMd5}));
  EXPECT_EQ(refusal({"lookup", "seed"}), kExitUsage);
  EXPECT_EQ(refusal({"lookup", "seed", "--"}), kExitUsage);
  EXPECT_EQ(refusal({"lookup", "--", kMd5}), kExitUsage);
}

TEST(SigCommandLine, WrongUsageIsExitCode64) {
  EXPECT_EQ(refusal({}), kExitUsage);
  EXPECT_EQ(refusal({"frobnicate"}), kExitUsage);
  EXPECT_EQ(refusal({"verify"}), kExitUsage);
  EXPECT_EQ(refusal({"verify", "x", "--nonsense"}), kExitUsage);
  EXPECT_EQ(refusal({"build", "x"}), kExitUsage);
  EXPECT_EQ(refusal({"build", "-o", "out"}), kExitUsage);
  EXPECT_EQ(refusal({"build", "-o", "out", "--time", "soon", "x"}), kExitUsage);
  EXPECT_EQ(refusal({"build", "-o", "out", "--version", "", "x"}), kExitUsage);
  EXPECT_EQ(refusal({"build", "-o", "out", "--version", "a\nSIZE 1", "x"}), kExitUsage);
  EXPECT_EQ(refusal({"why", "xyz", "db"}), kExitUsage);
  EXPECT_EQ(refusal({"diff", "old"}), kExitUsage);
}

TEST(SigCommandLine, AddTakesOnlyWhatALineCanHold) {
  const auto add = [](const std::string& option, const std::string& value) {
    return refusal({"add", "db", "--sha256", kSha256A, "--name", "N", option, value});
  };
  EXPECT_EQ(refusal({"add", "db", "--name", "N"}), kExitUsage);
  EXPECT_EQ(refusal({"add", "db", "--sha256", kMd5, "--name", "N"}), kExitUsage);
  EXPECT_EQ(refusal({"add", "db", "--sha256", kSha256A}), kExitUsage);
  EXPECT_EQ(add("--family", "a:b"), kExitUsage);
  EXPECT_EQ(add("--family", "a b"), kExitUsage);
  EXPECT_EQ(add("--family", "\xD0\x98"), kExitUsage);
  EXPECT_EQ(add("--severity", "clean"), kExitUsage);
  EXPECT_EQ(add("--ref", "https://example.org"), kExitUsage);
  EXPECT_EQ(add("--ref", "x "), kExitUsage);
  EXPECT_EQ(add("--ref", "a report of 2026"), -1);
}

TEST(SigCommandLine, HelpHasExamplesAndExitCodes) {
  const auto parsed = parseCommandLine({"--help"});
  ASSERT_TRUE(std::holds_alternative<Notice>(parsed));
  const Notice& help = std::get<Notice>(parsed);
  EXPECT_EQ(help.exitCode, kExitClean);
  for (const char* text :
       {"build", "verify", "info", "lookup", "why", "diff", "add", "feed", "Examples:", "Exit codes"}) {
    EXPECT_NE(help.text.find(text), std::string::npos) << text;
  }
}

TEST(SigCommandLine, AUsageErrorWithJsonIsOneDocument) {
  test::MemoryFiles files;
  const test::SigRun run = test::runSig(files, {"verify", "--json"});
  EXPECT_EQ(run.exitCode, kExitUsage);
  EXPECT_NE(run.out.find("\"kind\": \"usage\""), std::string::npos);
}

}  // namespace
}  // namespace korvel::sig

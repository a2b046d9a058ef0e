// build, add and feed from the command line to the bytes of the file.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "korvelsig/file_check.h"
#include "korvelsig_run.h"

namespace korvel::test {
namespace {

constexpr const char* kEicarSha256 = "275a021bbfb6489e54d471899f7db9d1663fc695ec2fe2a2c4538aabf651fd0f";
const std::string kComment =
    "# KORVEL signature database. Made by korvelsig; change what it was made from, not this file.\n";

class MakeCommands : public testing::Test {
 protected:
  SigRun run(const std::vector<std::string>& arguments) { return runSig(files_, arguments); }
  std::string& file(const std::string& name) { return files_.content[name]; }
  bool exists(const std::string& name) const { return files_.content.contains(name); }

  MemoryFiles files_;
};

TEST_F(MakeCommands, BuildWritesTheCanonicalFormOfAllInputs) {
  file("facts") =
      "digest\tthreat name\tfamily\tseverity\tsource\n" + kSha1 + "\tWin.A\tA\tcritical\ta source\n";
  file("hashes") = kSha256B + "  x.exe\n" + kSha256A + "\n";
  file("db") = "KORVELDB/1\nVERSION v\n" + kMd5 + ":Win.B:B\n";
  const SigRun built =
      run({"build", "-o", "out", "--version", "1 b", "--time", "7", "facts", "hashes", "db"});
  EXPECT_EQ(built.exitCode, 0) << built.err;
  EXPECT_EQ(built.err, "");
  EXPECT_EQ(file("out"), kComment + "KORVELDB/1\nVERSION 1 b\nGENERATED 7\nSIZE 4\n" + kSha256A + "\n" +
                             kSha256B + "\n" + kSha1 + ":seed:A:critical:Win.A:a source\n" + kMd5 +
                             ":Win.B:B\n");
  EXPECT_EQ(run({"verify", "--strict", "out"}).exitCode, 0);
}

TEST_F(MakeCommands, BuildOfTheSameInputsGivesTheSameBytesInAnyPieces) {
  file("in") = kSha256B + "\n" + kMd5 + "\n" + kSha256A + "\n";
  run({"build", "-o", "one", "--time", "7", "in"});
  files_.pieceBytes = 1;
  run({"build", "-o", "two", "--time", "7", "in"});
  EXPECT_EQ(file("one"), file("two"));
  run({"build", "-o", "three", "--time", "7", "--version", "sig-19700101", "one"});
  EXPECT_EQ(file("three"), file("one"));
}

TEST_F(MakeCommands, BuildFillsInTimeAndVersion) {
  file("in") = kMd5 + "\n";
  run({"build", "-o", "out", "in"});
  EXPECT_NE(file("out").find("VERSION sig-20261121\nGENERATED 1795219200\n"), std::string::npos);
}

TEST_F(MakeCommands, BuildMergesAsTheServiceDoes) {
  file("a") = "KORVELDB/1\nVERSION v\n" + kSha256A + ":Win.First:F\n" + kSha256B + "\n";
  file("b") = "KORVELDB/1\nVERSION v\n" + kSha256A + ":Win.Second:F\n" + kSha256B + ":Win.Named:F\n";
  run({"build", "-o", "out", "--time", "1", "a", "b"});
  EXPECT_NE(file("out").find(kSha256A + "::F:high:Win.First::\n" + kSha256B + "::F:high:Win.Named::\n"),
            std::string::npos)
      << file("out");
}

TEST_F(MakeCommands, BuildRefusesLinesWithErrorsAndWritesNothing) {
  file("in") = kSha256A + "\nxyz\n";
  const SigRun refused = run({"build", "-o", "out", "in"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("in:2: E01 "), std::string::npos) << refused.err;
  EXPECT_FALSE(exists("out"));
}

TEST_F(MakeCommands, BuildLeavesLinesWithErrorsOutOnRequest) {
  file("in") = kSha256A + "\nxyz\n";
  EXPECT_EQ(run({"build", "--skip-bad", "-o", "out", "in"}).exitCode, 1);
  EXPECT_NE(file("out").find("SIZE 1\n" + kSha256A + "\n"), std::string::npos);
}

TEST_F(MakeCommands, BuildWritesInSpiteOfWarningsAndNamesThem) {
  file("in") = "KORVELDB/1\nVERSION v\n" + kSha256A + ":t:F:low:N:R\n";
  const SigRun built = run({"build", "-o", "out", "in"});
  EXPECT_EQ(built.exitCode, 0);
  EXPECT_NE(built.err.find("in:3: W08 "), std::string::npos);
}

TEST_F(MakeCommands, BuildTellsHowManyLinesOfAListRepeat) {
  file("in") = kSha256B + "\n" + kSha256A + "\n" + kSha256B + "\n";
  EXPECT_NE(run({"build", "-o", "out", "in"}).err.find("1 lines repeat"), std::string::npos);
}

TEST_F(MakeCommands, BuildNeverPublishesWhatIsAllowed) {
  file("in") = kSha256B + "\n" + kSha256A + "\n" + kMd5 + "\n";
  file("never") = "# our own installer\n" + kSha256A + "  setup.exe\nupdates.example.org\n";
  EXPECT_EQ(run({"build", "-o", "out", "--allow", "never", "--allow", kMd5, "in"}).exitCode, 0);
  EXPECT_NE(file("out").find("SIZE 1\n" + kSha256B + "\n"), std::string::npos) << file("out");
}

TEST_F(MakeCommands, AMisspeltDigestInTheAllowListIsRefused) {
  file("in") = kSha256B + "\n";
  file("never") = kSha256A.substr(1) + "\n";
  const SigRun refused = run({"build", "-o", "out", "--allow", "never", "in"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("never:1: E02 "), std::string::npos);
  EXPECT_FALSE(exists("out"));
}

TEST_F(MakeCommands, BuildReportsInJson) {
  file("in") = kSha256A + "\nxyz\n";
  const auto json = nlohmann::json::parse(run({"build", "--json", "-o", "out", "in"}).out);
  EXPECT_EQ(json["schema"], "korvel.sig.build/1");
  EXPECT_EQ(json["written"], false);
  EXPECT_EQ(json["exit"], 1);
  EXPECT_EQ(json["findings"][0]["id"], "E01");
  EXPECT_EQ(json["findings"][0]["file"], "in");
  EXPECT_EQ(json["findings"][0]["line"], 2);
}

TEST_F(MakeCommands, AFullDiskIsExitCode2AndKeepsTheOldFile) {
  file("in") = kSha256A + "\n";
  file("out") = "old";
  files_.diskFull = true;
  const SigRun failed = run({"build", "-o", "out", "in"});
  EXPECT_EQ(failed.exitCode, 2);
  EXPECT_EQ(failed.err, "korvelsig: cannot write out: disk full\n");
  EXPECT_EQ(file("out"), "old");
}

TEST_F(MakeCommands, FeedWritesSortedSha256LinesOfAllDatabases) {
  file("a") = "KORVELDB/1\nVERSION v\n" + kSha256B + ":Win.A:A\n" + kMd5 + ":Win.B:B\n";
  file("b") = "KORVELDB/1\nVERSION v\n" + kSha256A + "\n" + kSha256B + "\n";
  const SigRun fed = run({"feed", "a", "b", "-o", "out"});
  EXPECT_EQ(fed.exitCode, 0) << fed.err;
  EXPECT_EQ(file("out"), kSha256A + "\n" + kSha256B + "\n");
  EXPECT_NE(fed.err.find("1 entries are not in the feed"), std::string::npos);
}

TEST_F(MakeCommands, FeedLeavesAllowedDigestsOut) {
  file("a") = "KORVELDB/1\nVERSION v\n" + kSha256A + "\n" + kSha256B + "\n";
  run({"feed", "a", "-o", "out", "--allow", kSha256B});
  EXPECT_EQ(file("out"), kSha256A + "\n");
}

TEST_F(MakeCommands, AnEmptyFeedIsRefused) {
  file("a") = "KORVELDB/1\nVERSION v\n" + kMd5 + "\n";
  EXPECT_EQ(run({"feed", "a", "-o", "out"}).exitCode, 1);
  EXPECT_FALSE(exists("out"));
}

TEST_F(MakeCommands, AFeedThatTheServiceWouldNotReadToItsEndIsRefused) {
  std::string& text = file("a");
  text = "KORVELDB/1\nVERSION v\n";
  char digest[66];
  for (uint64_t at = 0; at <= sig::kMaxFeedLines; ++at) {
    std::snprintf(digest, sizeof digest, "%064llx\n", static_cast<unsigned long long>(at));
    text += digest;
  }
  files_.pieceBytes = 1 << 20;
  const SigRun refused = run({"feed", "a", "-o", "out"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("W09 "), std::string::npos);
  EXPECT_FALSE(exists("out"));
  EXPECT_EQ(run({"feed", "a", "-o", "out", "--allow", std::string(64, '0')}).exitCode, 0);
  EXPECT_EQ(file("out").size(), 65 * sig::kMaxFeedLines);
}

TEST_F(MakeCommands, AddInsertsAnEntryAtItsPlaceAndCountsIt) {
  file("db") = "KORVELDB/1\nVERSION v\nSIZE 1\n" + kSha256B + ":Win.B:B\n";
  const SigRun added = run({"add", "db", "--sha256", kSha256A, "--name", "Win.A", "--family", "A",
                            "--severity", "critical", "--ref", "example.org/a", "--time", "9"});
  EXPECT_EQ(added.exitCode, 0) << added.err;
  EXPECT_EQ(file("db"), kComment + "KORVELDB/1\nVERSION v\nGENERATED 9\nSIZE 2\n" + kSha256A +
                            ":added:A:critical:Win.A:example.org/a\n" + kSha256B + "::B:high:Win.B::\n");
}

TEST_F(MakeCommands, AddTakesTheDigestOfASample) {
  file("db") = "KORVELDB/1\nVERSION v\n";
  file("sample") = R"(X5O!P%@AP[4\PZX54(P^)7CC)7}$EICAR-STANDARD-ANTIVIRUS-TEST-FILE!$H+H*)";
  EXPECT_EQ(run({"add", "db", "--file", "sample", "--name", "EICAR-Test-File"}).exitCode, 0);
  EXPECT_NE(file("db").find(std::string(kEicarSha256) + ":added:EICAR-Test-File:high:EICAR-Test-File::\n"),
            std::string::npos)
      << file("db");
}

TEST_F(MakeCommands, AddRefusesADigestThatIsListedUnlessToldToReplaceIt) {
  file("db") = "KORVELDB/1\nVERSION v\n" + kSha256A + ":Win.B:B\n";
  const std::string before = file("db");
  EXPECT_EQ(run({"add", "db", "--sha256", kSha256A, "--name", "Win.A"}).exitCode, 1);
  EXPECT_EQ(file("db"), before);
  EXPECT_EQ(run({"add", "db", "--sha256", kSha256A, "--name", "Win.A", "--replace"}).exitCode, 0);
  EXPECT_NE(file("db").find(kSha256A + ":added:Win.A:high:Win.A::\n"), std::string::npos);
  EXPECT_EQ(file("db").find("Win.B"), std::string::npos);
}

TEST_F(MakeCommands, AddRefusesADatabaseWithErrors) {
  file("db") = "KORVELDB/1\nVERSION v\nSIZE\n";
  const std::string before = file("db");
  EXPECT_EQ(run({"add", "db", "--sha256", kSha256A, "--name", "Win.A"}).exitCode, 1);
  EXPECT_EQ(file("db"), before);
}

}  // namespace
}  // namespace korvel::test

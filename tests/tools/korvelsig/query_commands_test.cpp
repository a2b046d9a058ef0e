// verify, info, lookup, why and diff from the command line to what they print.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "korvelsig_run.h"

namespace korvel::test {
namespace {

using nlohmann::json;

class QueryCommands : public testing::Test {
 protected:
  SigRun run(const std::vector<std::string>& arguments) { return runSig(files_, arguments); }
  std::string& file(const std::string& name) { return files_.content[name]; }
  /// A signature file with these entry lines.
  void database(const std::string& name, const std::string& lines, const std::string& version = "v") {
    file(name) = "KORVELDB/1\nVERSION " + version + "\nGENERATED 1795219200\n" + lines;
  }

  MemoryFiles files_;
};

TEST_F(QueryCommands, VerifyOfAGoodFileSaysSo) {
  database("db", kSha256A + "\n");
  const SigRun verified = run({"verify", "db"});
  EXPECT_EQ(verified.exitCode, 0);
  EXPECT_EQ(verified.out, "db: 1 entry lines, 0 skipped lines, 0 errors, 0 warnings\n");
}

TEST_F(QueryCommands, VerifyNamesFileLineIdAndReason) {
  database("db", kSha256A + ":t:F:hihg:N:R\n");
  const SigRun verified = run({"verify", "db"});
  EXPECT_EQ(verified.exitCode, 1);
  EXPECT_EQ(verified.out,
            "db:4: E05 unknown severity \"hihg\", read as 0: the file matches and is not listed\n"
            "db: 1 entry lines, 0 skipped lines, 1 errors, 0 warnings\n");
}

TEST_F(QueryCommands, VerifyFindsRepeatedLinesOfAFileInNoOrder) {
  database("db", kSha256B + "\n" + kSha256A + "\n" + kSha256B + ":N\n");
  EXPECT_NE(run({"verify", "db"}).out.find("db:6: W02 repeats the digest of line 4"), std::string::npos);
}

TEST_F(QueryCommands, VerifyFindsAGenericNameWhereAnotherFileHasABetterOne) {
  database("live", kSha256A + "\n" + kSha256B + "\n");
  database("seed", kSha256B + ":Win.B:B\n");
  for (const auto& order : {std::vector<std::string>{"verify", "seed", "live"}, {"verify", "live", "seed"}}) {
    const SigRun verified = run(order);
    EXPECT_EQ(verified.exitCode, 1);
    EXPECT_NE(verified.out.find("live:5: W06 the generic name; seed has a better one\n"), std::string::npos)
        << verified.out;
    EXPECT_EQ(verified.out.find("seed:4"), std::string::npos);
  }
}

TEST_F(QueryCommands, VerifyPrintsOneJsonDocument) {
  database("db", "xyz\n");
  const json document = json::parse(run({"verify", "--json", "db"}).out);
  EXPECT_EQ(document["schema"], "korvel.sig.verify/1");
  EXPECT_EQ(document["exit"], 1);
  const json& one = document["files"][0];
  EXPECT_EQ(one["file"], "db");
  EXPECT_EQ(one["skipped_lines"], 1);
  EXPECT_EQ(one["errors"], 1);
  EXPECT_EQ(one["findings"][0]["id"], "E01");
  EXPECT_EQ(one["findings"][0]["line"], 4);
}

TEST_F(QueryCommands, AFileThatCannotBeReadIsExitCode2) {
  for (const std::string command : {"verify", "info"}) {
    const SigRun failed = run({command, "missing"});
    EXPECT_EQ(failed.exitCode, 2);
    EXPECT_EQ(failed.err, "korvelsig: cannot read missing: no such file\n");
    const json document = json::parse(run({command, "missing", "--json"}).out);
    EXPECT_EQ(document["schema"], "korvel.error/1");
    EXPECT_EQ(document["error"]["kind"], "io");
    EXPECT_EQ(document["exit"], 2);
  }
}

TEST_F(QueryCommands, InfoCountsKindsSeveritiesAndFamilies) {
  database("db", kSha256A + ":t:F:critical:N:R\n" + kSha256B + ":N:F\n" + kSha1 + "\n" + kMd5 + "\n",
           "2026 a");
  const json one = json::parse(run({"info", "--json", "db"}).out)["files"][0];
  EXPECT_EQ(one["version"], "2026 a");
  EXPECT_EQ(one["generated_utc"], "2026-11-21T00:00:00Z");
  EXPECT_EQ(one["entries"], 4);
  EXPECT_EQ(one["digests"], (json{{"md5", 1}, {"sha1", 1}, {"sha256", 2}}));
  EXPECT_EQ(one["severities"], (json{{"high", 3}, {"critical", 1}}));
  EXPECT_EQ(one["families"][0], (json{{"family", "F"}, {"entries", 2}}));
  EXPECT_NE(run({"info", "db"}).out.find("  SHA-256    2\n  severity   critical 1, high 3\n  families   2\n"),
            std::string::npos)
      << run({"info", "db"}).out;
}

TEST_F(QueryCommands, LookupAnswersAsTheMergedFilesDo) {
  database("seed", kSha256A + ":Win.Seed:F\n");
  database("live", kSha256A + "\n" + kSha256B + "\n");
  const SigRun found = run({"lookup", "seed", "live", "--", kSha256A, kSha256B, kMd5});
  EXPECT_EQ(found.exitCode, 1);
  EXPECT_EQ(found.out, kSha256A + ": Win.Seed (family F, severity high)\n" + kSha256B +
                           ": Win.Trojan.Generic (family Win.Trojan.Generic, severity high)\n" + kMd5 +
                           ": not listed\n");
  EXPECT_EQ(run({"lookup", "seed", "--", kMd5}).exitCode, 0);
}

TEST_F(QueryCommands, LookupOfAFileTriesSha256ThenSha1ThenMd5) {
  file("abc") = "abc";
  const std::string md5 = "900150983cd24fb0d6963f7d28e17f72";
  const std::string sha1 = "a9993e364706816aba3e25717850c26c9cd0d89d";
  const std::string sha256 = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  database("db", md5 + ":ByMd5\n" + sha1 + ":BySha1\n" + sha256 + ":BySha256\n");
  EXPECT_EQ(run({"lookup", "db", "--", "abc"}).out,
            "abc: BySha256 (family BySha256, severity high), by SHA-256\n");
  database("db", md5 + ":ByMd5\n" + sha1 + ":BySha1\n");
  EXPECT_EQ(run({"lookup", "db", "--", "abc"}).out, "abc: BySha1 (family BySha1, severity high), by SHA-1\n");
  database("db", md5 + ":ByMd5\n");
  const json one = json::parse(run({"lookup", "--json", "db", "--", "abc"}).out)["items"][0];
  EXPECT_EQ(one["listed"], true);
  EXPECT_EQ(one["digest"], md5);
}

TEST_F(QueryCommands, LookupOfAnEmptyFileSaysThatTheServiceDoesNotLook) {
  file("empty") = "";
  database("db", "d41d8cd98f00b204e9800998ecf8427e:Empty\n");
  const SigRun looked = run({"lookup", "db", "--", "empty"});
  EXPECT_EQ(looked.exitCode, 0);
  EXPECT_EQ(looked.out, "empty: empty: the service does not look it up\n");
}

TEST_F(QueryCommands, LookupLeavesOutFilesThatAreTooLargeForTheService) {
  file("abc") = "abc";
  database("db", "900150983cd24fb0d6963f7d28e17f72:ByMd5\n");
  files_.claimedSizes["abc"] = 512u * 1024 * 1024;
  EXPECT_EQ(run({"lookup", "db", "--", "abc"}).exitCode, 1);
  ++files_.claimedSizes["abc"];
  const SigRun looked = run({"lookup", "db", "--", "abc"});
  EXPECT_EQ(looked.exitCode, 0);
  EXPECT_EQ(looked.out, "abc: larger than 512 MiB: the service does not look it up\n");
}

TEST_F(QueryCommands, AHintThatIsWrongDoesNotHarm) {
  database("db", kSha256A + "\n");
  files_.claimedSizes["db"] = 0;
  EXPECT_EQ(run({"lookup", "db", "--", kSha256A}).exitCode, 1);
}

TEST_F(QueryCommands, WhyNamesTheLinesThatWonAndLost) {
  database("seed", kSha256A + "\n");
  database("live", kSha256B + "\n" + kSha256A + ":Win.Live:F\n");
  const SigRun told = run({"why", kSha256A, "seed", "live"});
  EXPECT_EQ(told.exitCode, 0);
  EXPECT_EQ(told.out,
            "seed:4: Win.Trojan.Generic (family Win.Trojan.Generic, severity high)\n"
            "  added: no file before it lists the digest\n"
            "live:5: Win.Live (family F, severity high)\n"
            "  replaced: takes the place of seed:4: that one has only the generic name Win.Trojan.Generic\n"
            "the service answers with live:5: Win.Live (family F, severity high)\n");
  const SigRun reverse = run({"why", kSha256A, "live", "seed"});
  EXPECT_NE(reverse.out.find(
                "  lost: live:5 stays: no reference here, a family there already, a name there already\n"),
            std::string::npos)
      << reverse.out;
}

TEST_F(QueryCommands, WhyOfAnUnlistedDigestIsExitCode1) {
  database("db", kSha256B + "\n");
  EXPECT_EQ(run({"why", kSha256A, "db"}).exitCode, 1);
  EXPECT_EQ(run({"why", kSha256A, "db"}).out, "not listed\n");
  const json document = json::parse(run({"why", "--json", kSha256A, "db"}).out);
  EXPECT_TRUE(document["answer"].is_null());
  EXPECT_TRUE(document["lines"].empty());
}

TEST_F(QueryCommands, WhyInJsonNamesTheCondition) {
  database("a", kSha256A + ":N\n");
  database("b", kSha256A + ":t:F:low:M:R\n");
  const json document = json::parse(run({"why", "--json", kSha256A, "a", "b"}).out);
  EXPECT_EQ(document["lines"][1]["outcome"], "replaced");
  EXPECT_EQ(document["lines"][1]["condition"], "reference");
  EXPECT_EQ(document["answer"]["file"], "b");
  EXPECT_EQ(document["answer"]["severity"], "low");
}

TEST_F(QueryCommands, DiffListsWhatWasAddedRemovedAndChanged) {
  database("old", kSha256A + ":N:F\n" + kMd5 + ":Gone\n", "1");
  database("new", kSha256A + ":t:F:critical:M:R\n" + kSha256B + "\n", "2");
  const SigRun compared = run({"diff", "old", "new"});
  EXPECT_EQ(compared.exitCode, 1);
  EXPECT_EQ(compared.out,
            "version \"1\" -> \"2\"\n~ " + kSha256A +
                " name \"N\" -> \"M\", severity \"high\" -> \"critical\", reference \"\" -> \"R\"\n+ " +
                kSha256B + " Win.Trojan.Generic (family Win.Trojan.Generic, severity high)\n- " + kMd5 +
                " Gone (family Gone, severity high)\n1 added, 1 removed, 1 changed; 2 -> 2 entries\n");
  EXPECT_EQ(run({"diff", "old", "new", "--stat"}).out,
            "version \"1\" -> \"2\"\n1 added, 1 removed, 1 changed; 2 -> 2 entries\n");
  const json document = json::parse(run({"diff", "--json", "old", "new"}).out);
  EXPECT_EQ(document["added"], 1);
  EXPECT_EQ(document["changes"][0]["change"], "changed");
  EXPECT_EQ(document["changes"][0]["new"]["name"], "M");
}

TEST_F(QueryCommands, DiffOfEqualEntriesIsExitCode0InAnyForm) {
  database("old", kSha256B + "\n" + kSha256A + ":N:F\n");
  database("new", kSha256A + ":tag:F:high:N::\n" + kSha256B + "\n");
  EXPECT_EQ(run({"diff", "old", "new"}).exitCode, 0);
}

}  // namespace
}  // namespace korvel::test

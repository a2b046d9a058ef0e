// The committed seed database is what korvelsig makes of the committed facts.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "korvelsig_run.h"
#include "signatures/signature_text.h"

namespace korvel::test {
namespace {

std::string contentOf(const std::string& name) {
  std::ifstream file(std::string(KORVEL_DATA_FOLDER) + "/" + name, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(SeedFile, IsWhatBuildMakesOfTheFactsByteForByte) {
  MemoryFiles files;
  files.content["facts"] = contentOf("seed-facts.tsv");
  files.content["seed"] = contentOf("signatures.seed.txt");
  const SignatureFile seed = parseSignatureText(files.content["seed"]);
  ASSERT_GE(seed.table.size(), 200u);
  const SigRun built = runSig(files, {"build", "-o", "built", "--version", seed.version, "--time",
                                      std::to_string(seed.generated), "facts"});
  EXPECT_EQ(built.exitCode, 0) << built.err;
  EXPECT_EQ(built.err, "");
  EXPECT_EQ(files.content["built"], files.content["seed"])
      << "build/tools/bin/korvelsig build -o data/signatures.seed.txt --version " << seed.version
      << " --time " << seed.generated << " data/seed-facts.tsv";
}

TEST(SeedFile, HasNoFindings) {
  MemoryFiles files;
  files.content["seed"] = contentOf("signatures.seed.txt");
  const SigRun verified = runSig(files, {"verify", "--strict", "seed"});
  EXPECT_EQ(verified.exitCode, 0) << verified.out;
}

}  // namespace
}  // namespace korvel::test

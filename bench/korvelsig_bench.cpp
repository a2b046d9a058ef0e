// What korvelsig costs beside the service's own load of the same file: verifying and building a database of
// four million bare SHA-256 lines, in time and in memory. The work of writing the result is part of it.
//
// Usage: korvelsig_bench [--tiny]. Writes three temporary files of 260 MB each.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "korvelsig/commands.h"
#include "measure.h"
#include "native_process.h"
#include "random_digests.h"
#include "signatures/signature_text.h"

namespace {

using korvel::bench::Arguments;
using korvel::bench::bestOf;
using korvel::bench::Figures;
using korvel::bench::keep;
using korvel::bench::randomDigests;
using korvel::bench::TemporaryFile;
using korvel::bench::timed;

constexpr size_t kPieceBytes = 512 * 1024;
constexpr size_t kEntries = 4'000'000;
constexpr size_t kTinyEntries = 2'000;

std::string signatureText(const std::vector<std::string>& digests) {
  return "KORVELDB/1\nVERSION bench\nGENERATED 1\nSIZE " + std::to_string(digests.size()) + "\n" +
         korvel::bench::linesOf(digests, 0, digests.size());
}

void load(const std::filesystem::path& path) {
  korvel::SignatureFileParser parser(std::filesystem::file_size(path));
  korvel::bench::readInPieces(path, kPieceBytes, [&](std::string_view piece) { parser.feed(piece); });
  keep(parser.finish().table.size());
}

/// Verifying ends with 1 where a feed could not hold so many lines.
void runTool(const std::vector<std::string>& arguments, int expectedExit) {
  const std::unique_ptr<korvel::sig::FileAccess> files = korvel::sig::systemFiles();
  const auto ignore = [](std::string_view) {};
  if (korvel::sig::runKorvelsig(arguments, {*files, ignore, ignore, /*now=*/1}) != expectedExit) {
    throw std::runtime_error("korvelsig " + arguments.front() + " ended with an unexpected code");
  }
}

void benchFile(const Figures& figures, const Arguments& arguments, const std::string& name,
               const std::filesystem::path& input, const std::filesystem::path& output) {
  const int verifyExit = arguments.tiny() ? korvel::sig::kExitClean : korvel::sig::kExitFindings;
  const auto verify = [&] { runTool({"verify", input.string()}, verifyExit); };
  const auto build = [&] {
    runTool({"build", "-o", output.string(), input.string()}, korvel::sig::kExitClean);
  };
  const auto fileBytes = static_cast<double>(std::filesystem::file_size(input));
  // What the system itself takes for keeping as many bytes.
  const auto write = [&] {
    const std::string piece(kPieceBytes, 'x');
    korvel::sig::systemFiles()->replace(output.string(), [&](const auto& append) {
      for (double left = fileBytes; left > 0; left -= kPieceBytes) append(piece);
    });
  };
  const std::vector<double> best =
      bestOf(arguments.rounds(6), {timed([&] { load(input); }), timed(verify), timed(build), timed(write)});
  // build verifies every line on its way, so it is the whole work of making a file.
  figures.atMost("build of " + name + ", to loading it", best[2] / best[0], 3);
  figures.atMost("verify of " + name + ", to loading it", best[1] / best[0], 3);
  figures.plain("both one after the other, to loading it", (best[1] + best[2]) / best[0]);
  figures.plain("only writing as many bytes, to loading it", best[3] / best[0]);
  const uint64_t peak = std::max(korvel::bench::peakOf(verify), korvel::bench::peakOf(build));
  figures.atMost("peak with " + name + ", to the file", static_cast<double>(peak) / fileBytes, 2);
}

void run(const Arguments& arguments) {
  const Figures figures("korvelsig");
  std::vector<std::string> digests = randomDigests(arguments.tiny() ? kTinyEntries : kEntries, 1);
  const TemporaryFile unsorted;
  unsorted.append(signatureText(digests));
  std::sort(digests.begin(), digests.end());
  const TemporaryFile sorted;
  sorted.append(signatureText(digests));
  std::vector<std::string>().swap(digests);
  const TemporaryFile output;
  benchFile(figures, arguments, "an ascending file", sorted.path(), output.path());
  benchFile(figures, arguments, "a file in no order", unsorted.path(), output.path());
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }

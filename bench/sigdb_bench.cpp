// What a large signature database costs: loading as a ratio to reading the same file in the same pieces,
// memory per entry, and the time of a lookup by text. All entries are bare SHA-256 lines.
//
// Usage: sigdb_bench [--tiny]. Writes two temporary files of 260 MB each.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "measure.h"
#include "native_process.h"
#include "random_digests.h"
#include "signatures/signature_text.h"

namespace {

using korvel::SignatureFile;
using korvel::SignatureFileParser;
using korvel::SignatureMatch;
using korvel::SignatureTable;
using korvel::bench::Arguments;
using korvel::bench::bestOf;
using korvel::bench::Figures;
using korvel::bench::keep;
using korvel::bench::Loop;
using korvel::bench::randomDigests;
using korvel::bench::TemporaryFile;
using korvel::bench::timed;

constexpr size_t kPieceBytes = 512 * 1024;
constexpr size_t kEntries = 4'000'000;
constexpr size_t kTinyEntries = 2'000;
constexpr size_t kLookups = 1'000'000;

std::string signatureText(const std::vector<std::string>& digests) {
  return "KORVELDB/1\nVERSION bench\nGENERATED 1\nSIZE " + std::to_string(digests.size()) + "\n" +
         korvel::bench::linesOf(digests, 0, digests.size());
}

SignatureTable load(const std::filesystem::path& path) {
  SignatureFileParser parser(std::filesystem::file_size(path));
  korvel::bench::readInPieces(path, kPieceBytes, [&](std::string_view piece) { parser.feed(piece); });
  return parser.finish().table;
}

/// Looks up texts that lie one after the other, so that fetching them costs nothing beside the search. SHA-1
/// and MD5 are passed too, as in a scan; the database has no digests of these kinds.
class LookupLoop {
 public:
  LookupLoop(const SignatureTable& table, const std::vector<std::string>& digests, size_t lookups,
             bool listed)
      : table_(table), lookups_(lookups), listed_(listed), count_(digests.size()) {
    for (const std::string& digest : digests) texts_ += digest;
  }

  Loop loop() const {
    return timed([this] {
      const std::string_view texts = texts_;
      size_t hits = 0;
      SignatureMatch match;
      for (size_t i = 0; i < lookups_; ++i) {
        const std::string_view digest = texts.substr(i % count_ * 64, 64);
        hits += table_.lookup(digest.substr(0, 32), digest.substr(0, 40), digest, &match);
      }
      if (hits != (listed_ ? lookups_ : 0)) throw std::runtime_error("lookups went wrong");
    });
  }

 private:
  const SignatureTable& table_;
  const size_t lookups_;
  const bool listed_;
  const size_t count_;
  std::string texts_;
};

std::vector<double> timeLoad(int rounds, const std::filesystem::path& path) {
  const Loop reading = timed([&path] {
    korvel::bench::readInPieces(path, kPieceBytes, [](std::string_view piece) { keep(piece.back()); });
  });
  const Loop loading = timed([&path] { keep(load(path).size()); });
  return bestOf(rounds, {reading, loading});
}

/// The update job writes ascending files. A file in no order has to be sorted; its figure has no bar.
void benchLoad(const Figures& figures, int rounds, const std::filesystem::path& ascending,
               const std::filesystem::path& unsorted) {
  const std::vector<double> best = timeLoad(rounds, ascending);
  figures.atMost("load of an ascending file, to reading it", best[1] / best[0], 6);
  figures.plain("load of an ascending file", best[1], "s");
  figures.plain("load of a file in no order", timeLoad(rounds, unsorted)[1], "s");
}

void benchMemory(const Figures& figures, const std::filesystem::path& path, const SignatureTable& table) {
  const auto resident = static_cast<double>(table.residentBytes());
  figures.atMost("resident for an entry", resident / static_cast<double>(table.size()), 36, "bytes");
  const uint64_t peak = korvel::bench::peakOf([&path] { keep(load(path).size()); });
  figures.atMost("peak while loading, to resident", static_cast<double>(peak) / resident, 1.25);
}

void benchLookup(const Figures& figures, const Arguments& arguments, const SignatureTable& table,
                 std::vector<std::string> present) {
  const size_t lookups = arguments.tiny() ? 1'000 : kLookups;
  std::shuffle(present.begin(), present.end(), std::mt19937_64(3));
  present.resize(std::min(present.size(), lookups));
  const LookupLoop hits(table, present, lookups, /*listed=*/true);
  const LookupLoop misses(table, randomDigests(lookups, 2), lookups, /*listed=*/false);
  const std::vector<double> best = bestOf(arguments.rounds(5), {hits.loop(), misses.loop()});
  const double toNanoseconds = 1e9 / static_cast<double>(lookups);
  figures.atMost("lookup of a listed digest by text", best[0] * toNanoseconds, 400, "ns");
  figures.atMost("lookup of an unlisted digest by text", best[1] * toNanoseconds, 400, "ns");
}

/// The live file is loaded over the seed: a large newer table, a small older one.
void benchMerge(const Figures& figures, int rounds, const std::filesystem::path& path) {
  std::string seed;
  for (const std::string& digest : randomDigests(200, 4))
    seed += digest + ":tag:Family:high:Win.Name:somewhere\n";
  const SignatureTable older = korvel::parseSignatureText(seed).table;
  const Loop merging = [&] {
    SignatureTable newer = load(path);
    const double start = korvel::bench::workSeconds();
    const SignatureTable merged = mergedTable(std::move(newer), older);
    const double seconds = korvel::bench::workSeconds() - start;
    keep(merged.size());
    return seconds;
  };
  figures.plain("merge with a seed of 200 entries", bestOf(rounds, {merging})[0], "s");
}

void run(const Arguments& arguments) {
  const Figures figures("sigdb");
  const int rounds = arguments.rounds(5);
  std::vector<std::string> digests = randomDigests(arguments.tiny() ? kTinyEntries : kEntries, 1);
  const TemporaryFile unsorted;
  unsorted.append(signatureText(digests));
  std::sort(digests.begin(), digests.end());
  const TemporaryFile sorted;
  sorted.append(signatureText(digests));
  benchLoad(figures, rounds, sorted.path(), unsorted.path());

  const SignatureTable table = load(sorted.path());
  if (table.size() != digests.size()) throw std::runtime_error("entries were lost");
  benchMemory(figures, sorted.path(), table);
  benchLookup(figures, arguments, table, std::move(digests));
  benchMerge(figures, rounds, sorted.path());
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }

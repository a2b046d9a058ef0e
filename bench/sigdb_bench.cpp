// What a large signature database costs: loading as a ratio to reading the same file and decoding its
// digests, memory per entry, and a lookup by text as a ratio to two reads of as much memory. All entries are
// bare SHA-256 lines.
//
// Usage: sigdb_bench [--tiny]. Writes two temporary files of 260 MB each.
#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "hash/hex_digest.h"
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

/// The least that a load has to do: read the text, decode each digest, and write its key into memory of its
/// own.
size_t decodeDigests(const std::filesystem::path& path) {
  constexpr size_t kTextBytes = 64;
  using Key = std::array<uint8_t, kTextBytes / 2>;
  std::vector<Key> keys;
  keys.reserve(std::filesystem::file_size(path) / (kTextBytes + 1));
  std::string carried;
  const auto take = [&keys](std::string_view line) {
    Key key;
    if (line.size() == kTextBytes && korvel::hash::decodeHex(line.data(), key.size(), key.data()))
      keys.push_back(key);
  };
  korvel::bench::readInPieces(path, kPieceBytes, [&](std::string_view piece) {
    while (!piece.empty()) {
      const size_t end = piece.find('\n');
      if (end == piece.npos) return void(carried += piece);
      take(carried.empty() ? piece.substr(0, end) : std::string_view(carried += piece.substr(0, end)));
      carried.clear();
      piece.remove_prefix(end + 1);
    }
  });
  return keys.size();
}

/// Two reads at random places per round, each of which has to wait for the one before: what a search in so
/// much memory cannot do without.
class TwoReads {
 public:
  explicit TwoReads(size_t bytes) : words_(bytes / sizeof(uint64_t)) {
    std::mt19937_64 random(5);
    for (uint64_t& word : words_) word = random();
  }

  Loop loop(size_t rounds) const {
    return timed([this, rounds] {
      uint64_t at = 1;
      for (size_t i = 0; i < 2 * rounds; ++i) at = words_[(at + i) % words_.size()];
      keep(at);
    });
  }

 private:
  std::vector<uint64_t> words_;
};

std::vector<double> timeLoad(int rounds, const std::filesystem::path& path) {
  const Loop reading = timed([&path] {
    korvel::bench::readInPieces(path, kPieceBytes, [](std::string_view piece) { keep(piece.back()); });
  });
  const Loop decoding = timed([&path] { keep(decodeDigests(path)); });
  const Loop loading = timed([&path] { keep(load(path).size()); });
  return bestOf(rounds, {reading, decoding, loading});
}

/// The update job writes ascending files. A file in no order has to be sorted; its figure has no bar.
void benchLoad(const Figures& figures, int rounds, const std::filesystem::path& ascending,
               const std::filesystem::path& unsorted) {
  const std::vector<double> best = timeLoad(rounds, ascending);
  figures.atMost("load of an ascending file, to reading and decoding it", best[2] / best[1], 1.5);
  figures.plain("load of an ascending file, to reading it", best[2] / best[0]);
  figures.plain("load of an ascending file", best[2], "s");
  figures.plain("load of a file in no order", timeLoad(rounds, unsorted)[2], "s");
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
  const TwoReads reads(table.residentBytes());
  const std::vector<double> best =
      bestOf(arguments.rounds(5), {hits.loop(), misses.loop(), reads.loop(lookups)});
  const double toNanoseconds = 1e9 / static_cast<double>(lookups);
  figures.atMost("lookup of a listed digest by text, to two random reads", best[0] / best[2], 1.5);
  figures.atMost("lookup of an unlisted digest by text, to two random reads", best[1] / best[2], 1.5);
  figures.plain("lookup of a listed digest by text", best[0] * toNanoseconds, "ns");
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

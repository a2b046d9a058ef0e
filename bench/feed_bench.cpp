// Building the live database from three downloaded lists, 4,000,000 hashes in no order: the processor time as
// a ratio to that of `sort -u` over the same lines, and its memory beyond the lists.
//
// Usage: feed_bench [--tiny]. Writes three temporary files, 260 MB in all.
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "measure.h"
#include "native_process.h"
#include "net/feed_text.h"
#include "random_digests.h"

namespace {

using korvel::FeedReader;
using korvel::FeedSet;
using korvel::bench::Arguments;
using korvel::bench::Figures;
using korvel::bench::TemporaryFile;

constexpr size_t kHashes = korvel::kMaxFeedHashes;
constexpr size_t kTinyHashes = 3'000;
constexpr size_t kRepeatedHashes = 1'000;  // of each list in the next one
constexpr size_t kPieceBytes = 8 * 1024;   // as a download delivers them
constexpr uint64_t kNow = 1'790'000'000;   // any moment: only the length of its text matters

/// The lists as files. Each repeats some of the hashes of the one before.
struct Lists {
  explicit Lists(size_t hashes) {
    const std::vector<std::string> digests = korvel::bench::randomDigests(hashes, 5);
    for (size_t i = 0; i < files.size(); ++i) {
      const size_t begin = hashes * i / files.size();
      const size_t repeated = std::min(begin, kRepeatedHashes);
      files[i].append(korvel::bench::linesOf(digests, begin - repeated, hashes * (i + 1) / files.size()));
    }
  }
  std::array<TemporaryFile, 3> files;
};

/// Does what buildLiveDatabase() does between the network and the disk; returns the size of the database.
uint64_t build(const Lists& lists, size_t expected) {
  FeedSet set;
  for (const TemporaryFile& file : lists.files) {
    FeedReader reader;
    korvel::bench::readInPieces(file.path(), kPieceBytes,
                                [&](std::string_view piece) { reader.take(piece); });
    if (!set.add(reader.finish())) throw std::runtime_error("refused");
  }
  if (set.size() != expected) throw std::runtime_error("hashes were lost");
  uint64_t bytes = 0;
  renderLiveDatabase(set, kNow, [&bytes](std::string_view piece) {
    bytes += piece.size();
    return true;
  });
  return bytes;
}

void run(const Arguments& arguments) {
  const Figures figures("feed");
  const size_t hashes = arguments.tiny() ? kTinyHashes : kHashes;
  const Lists lists(hashes);
  // In the C locale, the quickest for the control.
  std::vector<std::string> sort = {"env", "LC_ALL=C", "sort", "-u", "-o", "/dev/null"};
  for (const TemporaryFile& file : lists.files) sort.push_back(file.path().string());

  const std::vector<double> best = korvel::bench::bestOf(
      arguments.rounds(3), {korvel::bench::timed([&] { korvel::bench::keep(build(lists, hashes)); }),
                            [&sort] { return korvel::bench::commandSeconds(sort); }});
  figures.atMost("live database from three lists, to `sort -u`", best[0] / best[1], 0.2);
  figures.plain("live database from three lists", best[0], "s");
  const uint64_t peak = korvel::bench::peakOf([&] { korvel::bench::keep(build(lists, hashes)); });
  figures.atMost("peak above the lists", static_cast<double>(peak) / 1e6, 256, "MB");
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }

// The cost of analysing an image compared with that of its digests, and the cost of an image that is made to
// be slow: thousands of sections that all overlap.
//
// Usage: pe_bench [--tiny]
#include <cstdint>
#include <stdexcept>
#include <string>

#include "corpus.h"
#include "hash/byte_histogram.h"
#include "hash/md5.h"
#include "hash/triple_digest.h"
#include "measure.h"
#include "pe/pe_analysis.h"

namespace {

using korvel::ByteView;
using korvel::bench::Arguments;
using korvel::bench::bestOf;
using korvel::bench::Figures;
using korvel::bench::keep;
using korvel::bench::timed;
using korvel::test::Bytes;

constexpr uint64_t kNow = 1'790'000'000;

void digestAlone(const Bytes& image) {
  korvel::hash::Md5 digest;
  digest.update(image.data(), image.size());
  keep(digest.digest());
}

void digestsAndAnalysis(const Bytes& image) {
  korvel::hash::TripleDigest digest;
  const korvel::PeAnalysis analysis =
      analyzePeBuffer(ByteView(image.data(), image.size()), image.size(), kNow, &digest);
  keep(digest.digests());
  if (!analysis.info.isPe) throw std::runtime_error("not taken for an image");
}

void analysisAlone(const Bytes& image) {
  keep(analyzePeBuffer(ByteView(image.data(), image.size()), image.size(), kNow));
}

void histogramAlone(const Bytes& image) {
  korvel::hash::ByteCounts counts{};
  korvel::hash::countBytes(image.data(), image.size(), counts);
  keep(counts);
}

void run(const Arguments& arguments) {
  const Figures figures("pe");
  const int rounds = arguments.rounds(15);
  const Bytes image = korvel::bench::peImage(1, arguments.tiny() ? 65'536 : 1'048'576);
  const std::vector<double> plain =
      bestOf(rounds, {timed([&] { digestAlone(image); }), timed([&] { digestsAndAnalysis(image); }),
                      timed([&] { analysisAlone(image); }), timed([&] { histogramAlone(image); })});
  figures.atLeast("three digests and analysis, to MD5 alone", plain[0] / plain[1], 0.78);
  figures.plain("analysis alone, to one histogram", plain[2] / plain[3]);

  const size_t sections = arguments.tiny() ? 100 : 10'000;
  const Bytes hostile = korvel::bench::overlappingImage(sections, arguments.tiny() ? 65'536 : 8'388'608);
  const std::vector<double> slow = bestOf(
      arguments.rounds(5), {timed([&] { analysisAlone(hostile); }), timed([&] { histogramAlone(hostile); })});
  figures.plain("analysis of overlapping sections, to one histogram", slow[0] / slow[1]);
  figures.plain("analysis of overlapping sections", slow[0] * 1e3, "ms");
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }

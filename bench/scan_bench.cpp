// Scanning whole folders, against loops that only read the same files or only take their MD5, and against
// scanning them as the simplest program would. Every scan must yield the same verdicts in the same order,
// whatever the number of workers; their digest is printed.
//
// Usage: scan_bench SIGNATURES IMAGES CORPUS [--one-core] [--two-cores] [--processor=NAME] [--tiny]
//   SIGNATURES   a signature file
//   IMAGES       a folder of real images
//   CORPUS       a folder made by make_corpus
//   --one-core   only the figures for which the program (and the server, under Wine) is pinned to one core
//   --two-cores  only those that need two
//   --processor=NAME  only the scan of images, as on a processor with nothing better than sha-ni, avx2 or
//   portable
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/utf.h"
#include "hash/lane_kernels.h"
#include "hash/md5.h"
#include "lesser_processor.h"
#include "literal_scan.h"
#include "measure.h"
#include "scan_subject.h"
#include "verdict_digest.h"

namespace {

using korvel::ByteView;
using korvel::FileVerdict;
using korvel::bench::Arguments;
using korvel::bench::bestOf;
using korvel::bench::Figures;
using korvel::bench::keep;
using korvel::bench::Loop;
using korvel::bench::readFile;
using korvel::bench::ScanSubject;
using korvel::bench::timed;
using korvel::bench::VerdictDigest;
using korvel::bench::wallSeconds;
using korvel::bench::workSeconds;
using korvel::hash::laneKernels;
using Paths = std::vector<std::wstring>;

constexpr size_t kPieceBytes = 256 << 10;  // of the controls
// A scan takes fresh memory, and the first touch of its pages costs a tenth of a scan as short as that of one
// folder of images. So a scan to be measured has the folder several times; the one of a single time is shown
// too.
constexpr size_t kTimes = 4;

std::string lesserProcessor(const Arguments& arguments) { return arguments.valueOf("--processor"); }

class ScanBench {
 public:
  explicit ScanBench(const Arguments& arguments)
      : arguments_(arguments),
        subject_(arguments.at(0)),
        images_(arguments.at(1)),
        small_(arguments.at(2) + kSeparator + "small"),
        made_(arguments.at(2) + kSeparator + "images"),
        large_(arguments.at(2) + kSeparator + "large"),
        figures_(korvel::bench::kScanArea) {}

  void run() const {
    std::printf("a scan digests with the kernel: %s\n", fastestSupported(laneKernels()).name);
    if (const std::string lesser = lesserProcessor(arguments_); !lesser.empty()) return lesserImages(lesser);
    const bool all = !arguments_.has("--one-core") && !arguments_.has("--two-cores");
    if (all || arguments_.has("--one-core")) runOnOneCore();
    if (all || arguments_.has("--two-cores")) runOnTwoCores();
  }

 private:
#ifdef _WIN32
  static constexpr char kSeparator = '\\';
  static constexpr double kImagesBar = 0.80, kTwoStreamsBar = 0.95;
#else
  static constexpr char kSeparator = '/';
  static constexpr double kImagesBar = 0.65, kTwoStreamsBar = 0.80;
#endif

  void runOnOneCore() const {
    memory();  // first, while the peak is that of the scan alone
    largeFiles();
    images();
    literalReading();
    smallFiles();
  }

  void runOnTwoCores() const {
    sameVerdicts("images", images_);
    sameVerdicts("small files", small_);
    sameVerdicts("large files", large_);
    const std::vector<double> images =
        bestOf(arguments_.rounds(9), {scanning(images_, 0, kTimes), scanning(images_, 2, kTimes)});
    figures_.atLeast("two workers on images, to one thread", images[0] / images[1], 1.6);
    const std::vector<double> made =
        bestOf(arguments_.rounds(9), {scanning(made_, 0, kTimes), scanning(made_, 2, kTimes)});
    figures_.plain("two workers on made-up images, to one thread", made[0] / made[1]);
    const std::vector<double> small =
        bestOf(arguments_.rounds(5), {scanning(small_, 0), scanning(small_, 2)});
    figures_.atLeast("two workers on small files, to one thread", small[0] / small[1], 1);
  }

  /// The wall time of one scan.
  Loop scanning(const std::string& folder, size_t workers, size_t times = 1) const {
    return timed([this, folder, workers, times] { scan(folder, workers, times); }, wallSeconds);
  }
  size_t scan(const std::string& folder, size_t workers, size_t times = 1) const {
    size_t count = 0;
    subject_.scan(folder, workers, times, [&count](const FileVerdict&) { ++count; });
    if (count == 0) throw std::runtime_error("nothing was scanned in " + folder);
    return count;
  }

  static void readAll(const Paths& paths) {
    for (const std::wstring& path : paths) {
      readFile(path, kPieceBytes, [](ByteView bytes) { keep(bytes.data()[bytes.size() - 1]); });
    }
  }
  static void md5All(const Paths& paths) {
    for (const std::wstring& path : paths) {
      korvel::hash::Md5 md5;
      readFile(path, kPieceBytes, [&md5](ByteView bytes) { md5.update(bytes.data(), bytes.size()); });
      keep(md5.digest());
    }
  }

  void memory() const {
    const Paths paths = subject_.files(large_);
    readAll(paths);  // into the system's cache
    std::vector<uint64_t> peaks;
    // The smaller stream, then one of four times its size: the folder lists them in this order.
    subject_.scan(large_, 0, 1,
                  [&peaks](const FileVerdict&) { peaks.push_back(korvel::bench::peakResidentBytes()); });
    if (peaks.size() != 3) throw std::runtime_error("the folder of large files is not complete");
    figures_.atMost("more memory for four times the size", static_cast<double>(peaks[1] - peaks[0]) / 1e6, 1,
                    "MB");
    figures_.atMost("more memory for a large image", static_cast<double>(peaks[2] - peaks[1]) / 1e6, 72,
                    "MB");
  }

  void largeFiles() const {
    const std::vector<double> best = bestOf(
        arguments_.rounds(5),
        {timed([paths = subject_.files(large_)] { md5All(paths); }), timed([this] { scan(large_, 0); })});
    figures_.atLeast("large files, to reading them with MD5 alone", best[0] / best[1], 0.80);
  }

  /// The bar: the cost of reading, plus the cost of MD5 divided by 0.78, the bar of digests and histogram.
  void images() const {
    const Paths once = subject_.files(images_), paths = manyImages();
    const std::vector<double> best =
        bestOf(arguments_.rounds(7), {timed([&] { readAll(paths); }), timed([&] { md5All(paths); }),
                                      timed([&] { scan(images_, 0, kTimes); }), timed([&] { md5All(once); }),
                                      timed([&] { scan(images_, 0); })});
    const double reading = best[0];
    const double md5 = std::max(best[1] - best[0], 1e-9);
    figures_.atMost("images, to reading them and 1/0.78 of MD5 alone", best[2] / (reading + md5 / 0.78), 1);
    figures_.atMost("images, to reading them with MD5 alone", best[2] / best[1], kImagesBar);
    figures_.plain("images, a short scan with fresh memory, to reading them with MD5 alone",
                   best[4] / best[3]);
  }
  Paths manyImages() const {
    const Paths once = subject_.files(images_);
    Paths paths;
    for (size_t i = 0; i < kTimes; ++i) paths.insert(paths.end(), once.begin(), once.end());
    return paths;
  }

  void lesserImages(const std::string& processor) const {
    const Paths paths = manyImages();
    const std::vector<double> best = bestOf(
        arguments_.rounds(7), {timed([&] { md5All(paths); }), timed([&] { scan(images_, 0, kTimes); })});
    const double ratio = best[1] / best[0];
    if (processor == "sha-ni")
      figures_.atMost("images with two lanes, to reading them with MD5 alone", ratio, kTwoStreamsBar);
    else
      figures_.plain("images with " + processor + " kernels only, to reading them with MD5 alone", ratio);
  }

  void smallFiles() const {
    const Paths paths = subject_.files(small_);
    const std::vector<double> best =
        bestOf(arguments_.rounds(5), {timed([&] { readAll(paths); }), timed([&] { scan(small_, 0); })});
    const char* const name = "small files, to opening, reading and closing them";
#ifdef _WIN32
    figures_.atMost(name, best[1] / best[0], 1.45);
#else
    figures_.plain(name, best[1] / best[0]);  // a file costs a tenth of that under Wine
#endif
    figures_.plain("a small file", best[1] / static_cast<double>(paths.size()) * 1e6, "us");
  }

  /// Six digest passes and five opens per file; the verdicts must be the same.
  void literalReading() const {
#ifdef _WIN32
    const Paths paths = subject_.files(images_);
    const korvel::bench::LiteralScanner literal(arguments_.at(0));
    VerdictDigest expected;
    for (const std::wstring& path : paths) expected.add(literal.scan(path));
    if (digestOf(images_, 0) != expected.hex())
      throw std::runtime_error("the simplest scan has other verdicts");
    const std::vector<double> best = bestOf(arguments_.rounds(3), {timed([&] {
                                                                     for (const std::wstring& path : paths)
                                                                       keep(literal.scan(path).size);
                                                                   }),
                                                                   timed([&] { scan(images_, 0); })});
    figures_.atLeast("images, the simplest scan to this one", best[0] / best[1], 5);
#endif
  }

  std::string digestOf(const std::string& folder, size_t workers) const {
    VerdictDigest digest;
    subject_.scan(folder, workers, 1, [&digest](const FileVerdict& verdict) { digest.add(verdict); });
    return digest.hex();
  }

  void sameVerdicts(const char* name, const std::string& folder) const {
    const std::string expected = digestOf(folder, 0);
    for (const size_t workers : {size_t{1}, size_t{2}, size_t{4}}) {
      if (digestOf(folder, workers) != expected) {
        throw std::runtime_error(std::to_string(workers) + " workers yield other verdicts of " + name);
      }
    }
    std::printf("verdicts of %s with 0, 1, 2 and 4 workers: %s\n", name, expected.c_str());
  }

  const Arguments& arguments_;
  const ScanSubject subject_;
  const std::string images_;
  const std::string small_;
  const std::string made_;
  const std::string large_;
  const Figures figures_;
};

}  // namespace

int main(int argc, char** argv) {
  return korvel::bench::runBench(argc, argv, [](const Arguments& arguments) {
    if (const std::string lesser = lesserProcessor(arguments); !lesser.empty())
      korvel::bench::useLesserProcessor(lesser);
    ScanBench(arguments).run();
  });
}

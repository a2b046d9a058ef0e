// How soon a scan ends after a cancel at a random moment: the number of verdicts that still come, and the
// time until scan() returns, as a ratio to the longest time that one file of the folder takes alone. The
// worst of many scans counts.
//
// Usage: cancel_bench FOLDER [--tiny]
#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

#include "base/utf.h"
#include "measure.h"
#include "scan/directory_walk.h"
#include "scan/file_scanner.h"
#include "scan/scan_filter.h"
#include "signatures/signature_database.h"

namespace {

constexpr double kMostVerdicts = 128;  // after the flag, with workers

using korvel::FileScanner;
using korvel::FileVerdict;
using korvel::ScanOptions;
using korvel::ScanTarget;
using korvel::bench::Arguments;
using korvel::bench::Figures;
using korvel::bench::wallSeconds;

class CancelBench {
 public:
  CancelBench(const Arguments& arguments, size_t workers)
      : targets_({{korvel::toWide(arguments.at(0)), /*recursive=*/true}}),
        scans_(arguments.tiny() ? 3 : 40),
        workers_(workers),
        scanner_(std::make_shared<korvel::SignatureDatabase>(), withWorkers(workers)) {}

  void run(const std::string& suffix) {
    const double whole = scanTime();
    const double longest = longestFile();
    std::mt19937 random(7);
    for (int i = 0; i < scans_; ++i) cancelAfter(whole * 0.9 * static_cast<double>(random() % 1'000) / 1'000);
    const Figures figures("cancel");
    // Of the files scanned ahead, those that were finished by then are delivered too.
    figures.atMost("verdicts after the flag" + suffix, worstVerdicts_, workers_ < 2 ? 1 : kMostVerdicts);
    figures.atMost("time to return, to the longest file" + suffix, worstSeconds_ / longest, 1);
    figures.plain("scans that were cancelled in their midst" + suffix, cancelled_);
    figures.plain("time to return" + suffix, worstSeconds_ * 1e3, "ms");
  }

 private:
  static ScanOptions withWorkers(size_t workers) {
    ScanOptions options;
    options.workers = workers;
    return options;
  }

  double scanTime() {
    const double start = wallSeconds();
    if (scanner_.scan(targets_, {}, {}).filesScanned == 0) throw std::runtime_error("nothing to scan");
    return wallSeconds() - start;
  }

  double longestFile() {
    korvel::DirectoryWalk walk(targets_.front(), /*followSymlinks=*/false, /*stop=*/{});
    double longest = 0;
    for (korvel::WalkedFile file; walk.next(file);) {
      if (!shouldScan(file.path, ScanOptions())) continue;
      const double start = wallSeconds();
      korvel::bench::keep(scanner_.scanSingleFile(file.path).size);
      longest = std::max(longest, wallSeconds() - start);
    }
    return longest;
  }

  void cancelAfter(double seconds) {
    std::atomic<bool> asked{false};
    std::atomic<double> askedAt{0};
    double verdicts = 0;
    const auto onVerdict = [&](const FileVerdict&) { verdicts += asked.load() ? 1 : 0; };
    std::atomic<bool> began{false};
    std::thread canceller([&] {
      while (!began) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
      askedAt = wallSeconds();
      scanner_.cancel();
      asked = true;  // from here on the flag is certainly seen
    });
    const korvel::ScanSummary summary = scanner_.scan(
        targets_, [&](const korvel::ScanProgressInfo&) { began = true; }, onVerdict);
    const double end = wallSeconds();
    canceller.join();
    if (!summary.cancelled) return;  // the scan ended before the cancel
    cancelled_ += 1;
    worstVerdicts_ = std::max(worstVerdicts_, verdicts);
    worstSeconds_ = std::max(worstSeconds_, end - askedAt);
  }

  const std::vector<ScanTarget> targets_;
  const int scans_;
  const size_t workers_;
  FileScanner scanner_;
  double cancelled_ = 0;
  double worstVerdicts_ = 0;
  double worstSeconds_ = 0;
};

void run(const Arguments& arguments) {
  CancelBench(arguments, 0).run(", one thread");
  CancelBench(arguments, 2).run(", two workers");
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }

// What a scan costs the person at the machine: how much a program that keeps every processor busy gets done
// beside a scan, as a ratio to what it gets done alone. Once for a scan that somebody waits for, once for one
// in background mode, which Wine does not have.
//
// Usage: beside_bench FOLDER [--tiny]
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "base/utf.h"
#include "hash/sha256.h"
#include "measure.h"
#include "scan/file_scanner.h"
#include "signatures/signature_database.h"

namespace {

using korvel::FileScanner;
using korvel::ScanOptions;
using korvel::bench::Arguments;
using korvel::bench::Figures;
using korvel::bench::keep;
using korvel::bench::wallSeconds;

/// One thread per processor, each as busy as it can be; counts what they get done.
class BusyProgram {
 public:
  BusyProgram() {
    const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < processors; ++i) threads_.emplace_back([this] { work(); });
  }
  ~BusyProgram() {
    ended_ = true;
    for (std::thread& thread : threads_) thread.join();
  }
  BusyProgram(const BusyProgram&) = delete;
  BusyProgram& operator=(const BusyProgram&) = delete;

  uint64_t done() const { return done_; }

 private:
  void work() {
    const std::vector<uint8_t> page(4'096, 'b');
    while (!ended_) {
      korvel::hash::Sha256 hasher;
      hasher.update(page.data(), page.size());
      keep(hasher.digest());
      ++done_;
    }
  }

  std::atomic<bool> ended_{false};
  std::atomic<uint64_t> done_{0};
  std::vector<std::thread> threads_;
};

class BesideBench {
 public:
  explicit BesideBench(const Arguments& arguments)
      : targets_({{korvel::toWide(arguments.at(0)), /*recursive=*/true}}), tiny_(arguments.tiny()) {}

  void run() {
    const double alone = rateAlone();
    const double beside = rateBeside(/*inBackground=*/false);
    const double background = rateBeside(/*inBackground=*/true);
    const Figures figures("beside");
    figures.plain("a busy program beside a scan, to alone", beside / alone);
    figures.plain("a busy program beside a scan in background mode, to alone", background / alone);
  }

 private:
  double rateAlone() {
    const double until = wallSeconds() + (tiny_ ? 0.05 : 3);
    const uint64_t before = busy_.done();
    const double began = wallSeconds();
    while (wallSeconds() < until) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return static_cast<double>(busy_.done() - before) / (wallSeconds() - began);
  }
  /// Scans again and again for a while.
  double rateBeside(bool inBackground) {
    ScanOptions options;
    options.inBackground = inBackground;
    const double until = wallSeconds() + (tiny_ ? 0.05 : 3);
    const uint64_t before = busy_.done();
    const double began = wallSeconds();
    do {
      FileScanner scanner(database_, options);
      if (scanner.scan(targets_, nullptr, nullptr).filesScanned == 0)
        throw std::runtime_error("nothing was scanned");
    } while (wallSeconds() < until);
    return static_cast<double>(busy_.done() - before) / (wallSeconds() - began);
  }

  const std::vector<korvel::ScanTarget> targets_;
  const bool tiny_;
  const std::shared_ptr<korvel::SignatureDatabase> database_ = std::make_shared<korvel::SignatureDatabase>();
  BusyProgram busy_;
};

void run(const Arguments& arguments) { BesideBench(arguments).run(); }

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }

// The speed of the digests and of every kernel behind them, and the table of ratios to MD5 alone: MD5 is one
// chain of dependent operations that nothing shortens, so it is what the other digests can hide behind.
//
// Runs are repeated in mixed order and the best of each counts, since the clock of a busy machine wanders by
// more than the differences that matter here.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "scan/hash/byte_histogram.h"
#include "scan/hash/kernels.h"
#include "scan/hash/md5.h"
#include "scan/hash/sha1.h"
#include "scan/hash/sha256.h"
#include "scan/hash/triple_digest.h"

namespace {

using namespace korvel::hash;

constexpr size_t kStreamBytes = 65536;

/// Bytes as different from each other as those of a compressed file.
const std::vector<uint8_t>& stream() {
  static const std::vector<uint8_t> bytes = [] {
    std::vector<uint8_t> made(kStreamBytes);
    uint32_t state = 1;
    for (uint8_t& byte : made) byte = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    return made;
  }();
  return bytes;
}

/// Runs `body` once an iteration over all of `bytes`.
template <typename Body>
void add(const std::string& name, Body body, const std::vector<uint8_t>& bytes = stream()) {
  benchmark::RegisterBenchmark(name.c_str(), [body, &bytes](benchmark::State& state) {
    for (auto _ : state) {
      body(bytes.data(), bytes.size());
      benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kStreamBytes));
  });
}

template <typename Digest>
void addDigest(const std::string& name) {
  add(name, [](const uint8_t* data, size_t length) {
    Digest digest;
    digest.update(data, length);
    benchmark::DoNotOptimize(digest.digest());
  });
}

void addKernels(const std::string& digest, std::span<const DigestKernel> kernels) {
  for (const DigestKernel& kernel : kernels) {
    if (!kernel.supported()) continue;
    add(digest + "/" + kernel.name, [&kernel](const uint8_t* data, size_t length) {
      uint32_t state[8] = {};
      kernel.compress(state, data, length / kBlockBytes);
      benchmark::DoNotOptimize(state);
    });
  }
}

void addTripleKernels() {
  for (const TripleKernel& kernel : tripleKernels()) {
    if (!kernel.supported()) continue;
    add(std::string("triple/") + kernel.name, [&kernel](const uint8_t* data, size_t length) {
      TripleState state = {};
      kernel.compress(state, data, length / kBlockBytes);
      benchmark::DoNotOptimize(state);
    });
  }
}

/// Equal bytes are the hard case: every increment of a single table waits for the one before.
void addHistograms(const std::string& suffix, const std::vector<uint8_t>& bytes) {
  const auto countOneByOne = [](const uint8_t* data, size_t length) {
    ByteCounts counts{};
    for (size_t i = 0; i < length; ++i) ++counts[data[i]];
    benchmark::DoNotOptimize(counts);
  };
  const auto countInTables = [](const uint8_t* data, size_t length) {
    ByteCounts counts{};
    countBytes(data, length, counts);
    benchmark::DoNotOptimize(counts);
  };
  const auto countOnTheWay = [](const uint8_t* data, size_t length) {
    TripleDigest digest;
    ByteCounts counts{};
    digest.updateAndCount(data, length, counts);
    benchmark::DoNotOptimize(digest.digests());
    benchmark::DoNotOptimize(counts);
  };
  add("histogram" + suffix, countInTables, bytes);
  add("histogram in one table" + suffix, countOneByOne, bytes);
  add("three digests and histogram" + suffix, countOnTheWay, bytes);
}

void addAll() {
  addDigest<Md5>("md5");
  addDigest<Sha1>("sha1");
  addDigest<Sha256>("sha256");
  add("three digests", [](const uint8_t* data, size_t length) {
    TripleDigest digest;
    digest.update(data, length);
    benchmark::DoNotOptimize(digest.digests());
  });
  addKernels("sha1", sha1Kernels());
  addKernels("sha256", sha256Kernels());
  addTripleKernels();
  addHistograms("", stream());
  static const std::vector<uint8_t> equalBytes(kStreamBytes, 0);
  addHistograms(", equal bytes", equalBytes);
}

/// Prints runs as usual and keeps the best of each name.
class BestKeeper : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const auto counter = run.counters.find("bytes_per_second");
      if (counter == run.counters.end()) continue;
      double& best = best_[run.run_name.function_name];
      best = std::max(best, static_cast<double>(counter->second));
    }
  }

  double best(const std::string& name) const {
    const auto found = best_.find(name);
    return found == best_.end() ? 0 : found->second;
  }

  void printTable() const {
    const double md5 = best("md5");
    std::printf("\n%-42s %10s %10s\n", "figure", "MB/s", "to MD5");
    for (const auto& [name, speed] : best_) {
      std::printf("%-42s %10.1f %10.3f\n", name.c_str(), speed / 1e6, md5 > 0 ? speed / md5 : 0);
    }
  }

  void printBar(const char* figure, double bar) const {
    const double md5 = best("md5");
    if (md5 <= 0 || best(figure) <= 0) return;
    const double ratio = best(figure) / md5;
    std::printf("digest | %s, to MD5 alone | %.3f | >= %.2f | %s\n", figure, ratio, bar,
                ratio >= bar ? "yes" : "no");
  }

 private:
  std::map<std::string, double> best_;
};

}  // namespace

int main(int argc, char** argv) {
  // Defaults first, so that the command line can replace them.
  std::vector<std::string> defaults = {"--benchmark_repetitions=15", "--benchmark_min_time=0.05",
                                       "--benchmark_enable_random_interleaving=true"};
  std::vector<char*> arguments = {argv[0]};
  for (std::string& text : defaults) arguments.push_back(text.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

  addAll();
  BestKeeper reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  reporter.printTable();
  std::printf("\n");
  reporter.printBar("three digests", 0.85);
  reporter.printBar("three digests and histogram", 0.78);
  reporter.printBar("three digests and histogram, equal bytes", 0.78);
  return 0;
}

// What a large signature database costs: loading as a ratio to reading the same file in the same pieces,
// memory for an entry, and the time of a lookup by text.
//
// Usage: signature_bench [ENTRIES], 4,000,000 by default, all bare SHA-256 lines. Writes one temporary file.
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "scan/signature_text.h"

namespace {

using korvel::SignatureFile;
using korvel::SignatureFileParser;
using korvel::SignatureMatch;
using korvel::SignatureTable;

constexpr size_t kPieceBytes = 512 * 1024;
constexpr int kRounds = 5;
constexpr size_t kLookups = 1'000'000;

/// Processor time of this process: other load on the machine does not count.
double cpuSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::vector<std::string> randomDigests(size_t count, uint64_t seed) {
  std::mt19937_64 random(seed);
  std::vector<std::string> digests(count, std::string(64, '0'));
  for (std::string& digest : digests) {
    for (size_t part = 0; part < 64; part += 16) {
      char text[17];
      std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(random()));
      digest.replace(part, 16, text, 16);
    }
  }
  return digests;
}

/// A file that removes itself.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::vector<std::string>& digests) {
    std::string name = (std::filesystem::temp_directory_path() / "korvel-signatures-XXXXXX").string();
    const int file = ::mkstemp(name.data());
    if (file < 0) throw std::runtime_error("no temporary file");
    path_ = name;
    std::FILE* stream = ::fdopen(file, "wb");
    std::fprintf(stream, "KORVELDB/1\nVERSION bench\nGENERATED 1\nSIZE %zu\n", digests.size());
    for (const std::string& digest : digests) std::fprintf(stream, "%s\n", digest.c_str());
    std::fclose(stream);
  }
  ~TemporaryFile() { std::filesystem::remove(path_); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

template <typename Consumer>
double readInPieces(const std::filesystem::path& path, Consumer&& consume) {
  const double start = cpuSeconds();
  const auto piece = std::make_unique_for_overwrite<char[]>(kPieceBytes);
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) throw std::runtime_error("cannot open the temporary file");
  std::setvbuf(file, nullptr, _IONBF, 0);
  while (const size_t got = std::fread(piece.get(), 1, kPieceBytes, file))
    consume(std::string_view(piece.get(), got));
  std::fclose(file);
  return (cpuSeconds() - start);
}

SignatureFile load(const std::filesystem::path& path, double& seconds) {
  const double start = cpuSeconds();
  SignatureFileParser parser(std::filesystem::file_size(path));
  readInPieces(path, [&](std::string_view piece) { parser.feed(piece); });
  SignatureFile file = parser.finish();
  seconds = (cpuSeconds() - start);
  return file;
}

void benchLoad(const char* name, const std::vector<std::string>& digests) {
  const TemporaryFile file(digests);
  double control = 1e9, loading = 1e9;
  uint64_t checksum = 0;
  for (int round = 0; round < kRounds; ++round) {
    control = std::min(control, readInPieces(file.path(), [&](std::string_view piece) {
                         checksum += static_cast<unsigned char>(piece.back());
                       }));
    double seconds = 0;
    const SignatureFile loaded = load(file.path(), seconds);
    if (loaded.table.size() != digests.size()) throw std::runtime_error("entries were lost");
    loading = std::min(loading, seconds);
  }
  std::printf("load, %-9s %9zu entries %8.3f s CPU %5.2f x reading (%.3f s, sum %llu)\n", name,
              digests.size(), loading, loading / control, control, static_cast<unsigned long long>(checksum));
}

void benchMerge(const SignatureTable& large, SignatureTable small, const char* name) {
  const double start = cpuSeconds();
  const SignatureTable merged = mergedTable(std::move(small), large);
  std::printf("merge, %-8s %9llu entries %8.3f s CPU\n", name, static_cast<unsigned long long>(merged.size()),
              (cpuSeconds() - start));
}

/// The texts lie one after the other, so that fetching them costs nothing beside the search.
double nanosecondsPerLookup(const SignatureTable& table, const std::vector<std::string>& digests,
                            size_t& hits) {
  std::string texts;
  for (const std::string& digest : digests) texts += digest;
  SignatureMatch match;
  double best = 1e9;
  for (int round = 0; round < kRounds; ++round) {
    const double start = cpuSeconds();
    for (size_t at = 0; at < kLookups; ++at) {
      hits += table.lookup({}, {}, std::string_view(texts).substr(at % digests.size() * 64, 64), &match);
    }
    best = std::min(best, cpuSeconds() - start);
  }
  return best * 1e9 / static_cast<double>(kLookups);
}

uint64_t peakBytes() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<uint64_t>(usage.ru_maxrss) * 1024;
}

/// The most memory one load takes beyond what the process had; in a process that has done nothing else.
int printPeak(const char* path) {
  const uint64_t before = peakBytes();
  double seconds = 0;
  const SignatureFile file = load(path, seconds);
  const double entries = static_cast<double>(file.table.size());
  std::printf("memory           %9llu entries %8.2f bytes an entry, peak while loading %.2f bytes an entry\n",
              static_cast<unsigned long long>(file.table.size()),
              static_cast<double>(file.table.residentBytes()) / entries,
              static_cast<double>(peakBytes() - before) / entries);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string_view(argv[1]) == "--peak") return printPeak(argv[2]);
  const size_t entries = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 4'000'000;
  if (entries == 0) return 2;

  std::vector<std::string> digests = randomDigests(entries, 1);
  benchLoad("unsorted", digests);
  std::sort(digests.begin(), digests.end());
  benchLoad("sorted", digests);

  const TemporaryFile file(digests);
  // A process of its own: the peak of this one is that of its texts.
  const std::string command = std::string(argv[0]) + " --peak " + file.path().string();
  std::fflush(stdout);
  if (std::system(command.c_str()) != 0) return 1;

  double seconds = 0;
  SignatureTable large = load(file.path(), seconds).table;
  const std::vector<std::string> absent = randomDigests(std::min<size_t>(entries, 1'000'000), 2);
  std::vector<std::string> present = digests;
  std::shuffle(present.begin(), present.end(), std::mt19937_64(3));
  present.resize(std::min(present.size(), kLookups));
  size_t hits = 0;
  const double hitTime = nanosecondsPerLookup(large, present, hits);
  const double missTime = nanosecondsPerLookup(large, absent, hits);
  std::printf("lookup by text   %9zu hits    %8.0f ns a hit, %.0f ns a miss\n", hits, hitTime, missTime);

  std::string seed;
  for (size_t at = 0; at < 200; ++at)
    seed += absent[at % absent.size()] + ":tag:Family:high:Win.Name:somewhere\n";
  benchMerge(large, korvel::parseSignatureText(seed).table, "200 new");
  const SignatureTable older = korvel::parseSignatureText(seed).table;
  const double start = cpuSeconds();
  const uint64_t capacityBefore = large.residentBytes();
  large = mergedTable(std::move(large), older);
  std::printf("merge, 200 old  %9llu entries %8.3f s CPU, memory grew by %lld bytes\n",
              static_cast<unsigned long long>(large.size()), (cpuSeconds() - start),
              static_cast<long long>(large.residentBytes() - capacityBefore));
  return 0;
}

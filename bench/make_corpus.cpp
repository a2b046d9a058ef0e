// Makes the folder that the benchmarks scan, the same bytes on every machine:
//
//   small/NNN/*.bat, *.exe    20,000 files of 0.2 to 16 KB, 100 in a folder, every fifth a small image
//   images/*.dll              128 MiB of images of 64 KiB to 4 MiB
//   large/                    streams of 64 and 256 MiB, and an image of 256 MiB whose sections end early
//   signatures.live.txt       a signature file of 4,000,000 entries
//
// Usage: make_corpus FOLDER [--tiny]. Does nothing when FOLDER is complete already.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "corpus.h"
#include "measure.h"
#include "random_digests.h"

namespace {

namespace fs = std::filesystem;
using korvel::bench::Arguments;
using korvel::test::Bytes;

constexpr const char* kComplete = "complete-1";  // the number changes with the content
constexpr size_t kMiB = size_t{1} << 20;

struct Sizes {
  size_t smallFiles;
  size_t imageBytes;   // all images together
  size_t largeStream;  // the smaller stream; the larger has four times this
  size_t signatures;
};
constexpr Sizes kUsual = {20'000, 128 * kMiB, 64 * kMiB, 4'000'000};
constexpr Sizes kTiny = {200, 2 * kMiB, 9 * kMiB, 2'000};

void write(const fs::path& path, std::string_view bytes) {
  std::ofstream stream(path, std::ios::binary);
  if (!stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size())))
    throw std::runtime_error("cannot write " + path.string());
}

std::string_view view(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void makeSmall(const fs::path& folder, size_t count) {
  constexpr size_t kFilesInFolder = 100;
  std::mt19937 random(11);
  for (size_t i = 0; i < count; ++i) {
    const fs::path parent = folder / std::to_string(i / kFilesInFolder);
    if (i % kFilesInFolder == 0) fs::create_directories(parent);
    const auto seed = static_cast<uint32_t>(i);
    if (i % 5 == 0) {
      write(parent / ("tool" + std::to_string(i) + ".exe"), view(korvel::bench::smallImage(seed)));
    } else {
      // Most files are short, few are long.
      const size_t bytes = size_t{200} << random() % 7;
      write(parent / ("task" + std::to_string(i) + ".bat"), korvel::bench::scriptText(seed, bytes));
    }
  }
}

void makeImages(const fs::path& folder, size_t bytes) {
  fs::create_directories(folder);
  std::mt19937 random(12);
  uint32_t number = 0;
  for (size_t made = 0; made < bytes; ++number) {
    const size_t size = (size_t{64} << 10 << random() % 6) + random() % 65'536;
    const Bytes image = korvel::bench::peImage(number, size);
    write(folder / ("module" + std::to_string(number) + ".dll"), view(image));
    made += image.size();
  }
}

/// Writes `head`, then the same pseudo-random MiB again and again.
void writeStream(const fs::path& path, std::string_view head, size_t bytes) {
  const Bytes piece = korvel::test::noiseBytes(kMiB);
  std::ofstream stream(path, std::ios::binary);
  stream.write(head.data(), static_cast<std::streamsize>(head.size()));
  for (size_t written = head.size(); written < bytes; written += piece.size())
    stream.write(view(piece).data(), static_cast<std::streamsize>(std::min(piece.size(), bytes - written)));
  if (!stream) throw std::runtime_error("cannot write " + path.string());
}

void makeLarge(const fs::path& folder, size_t bytes) {
  fs::create_directories(folder);
  writeStream(folder / "1-stream.iso", "", bytes);
  writeStream(folder / "2-stream.iso", "", 4 * bytes);
  writeStream(folder / "3-image.exe", view(korvel::bench::peImage(1, 4 * kMiB)), 4 * bytes);
}

void makeSignatures(const fs::path& path, size_t count) {
  std::vector<std::string> digests = korvel::bench::randomDigests(count, 13);
  std::sort(digests.begin(), digests.end());
  write(path, "KORVELDB/1\nVERSION live-20260101\nGENERATED 1767225600\nSIZE " + std::to_string(count) +
                  "\n" + korvel::bench::linesOf(digests, 0, count));
}

void run(const Arguments& arguments) {
  const fs::path folder = arguments.at(0);
  if (fs::exists(folder / kComplete)) return;
  fs::remove_all(folder);
  const Sizes& sizes = arguments.tiny() ? kTiny : kUsual;
  makeSmall(folder / "small", sizes.smallFiles);
  makeImages(folder / "images", sizes.imageBytes);
  makeLarge(folder / "large", sizes.largeStream);
  makeSignatures(folder / "signatures.live.txt", sizes.signatures);
  write(folder / kComplete, "");
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::runBench(argc, argv, run); }

// The speed of the digests. MD5 is one chain of dependent operations that nothing shortens, and the other
// digests can run in its gaps, so the pass that computes all three is measured against MD5 alone. Each digest
// alone is measured against OpenSSL's on the same bytes, and every kernel that this processor runs is listed.
//
// Usage: digest_bench [--tiny]
#include <openssl/evp.h>

#include <cstdint>
#include <string>
#include <vector>

#include "hash/byte_tables.h"
#include "hash/kernels.h"
#include "hash/lane_kernels.h"
#include "hash/md5.h"
#include "hash/multi_digest.h"
#include "hash/sha1.h"
#include "hash/sha256.h"
#include "hash/triple_digest.h"
#include "measure.h"

namespace {

using namespace korvel::hash;
using korvel::bench::Arguments;
using korvel::bench::bestOf;
using korvel::bench::Figures;
using korvel::bench::keep;
using korvel::bench::Loop;
using korvel::bench::timed;

constexpr size_t kStreamBytes = 65'536;

/// Bytes as different from each other as those of a compressed file.
std::vector<uint8_t> noise() {
  std::vector<uint8_t> bytes(kStreamBytes);
  uint32_t state = 1;
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
  return bytes;
}

/// The same with a third of them zero, as in an image.
std::vector<uint8_t> noiseAndZeros() {
  std::vector<uint8_t> bytes = noise();
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i / 8 % 3 == 0) bytes[i] = 0;
  }
  return bytes;
}

class DigestBench {
 public:
  explicit DigestBench(const Arguments& arguments)
      : arguments_(arguments), rounds_(arguments.rounds(40)), repeats_(arguments.tiny() ? 1 : 128) {}

  void run() const {
    againstOpenSsl();
    againstMd5();
    manyMessages();
    likeASystemFolder();
    listKernels();
  }

 private:
  /// A loop that runs `body` over the stream, a few milliseconds in all.
  template <typename Body>
  Loop over(const std::vector<uint8_t>& bytes, Body body) const {
    return timed([this, &bytes, body] {
      for (int i = 0; i < repeats_; ++i) body(bytes.data(), bytes.size());
    });
  }
  template <typename Hasher>
  Loop ours() const {
    return over(noise_, [](const uint8_t* data, size_t length) {
      Hasher hasher;
      hasher.update(data, length);
      keep(hasher.digest());
    });
  }
  Loop openSsl(const EVP_MD* digest) const {
    return over(noise_, [digest](const uint8_t* data, size_t length) {
      unsigned char bytes[EVP_MAX_MD_SIZE];
      ::EVP_Digest(data, length, bytes, nullptr, digest, nullptr);
      keep(bytes);
    });
  }

  void againstOpenSsl() const {
    const std::vector<double> best =
        bestOf(rounds_, {ours<Md5>(), openSsl(::EVP_md5()), ours<Sha1>(), openSsl(::EVP_sha1()),
                         ours<Sha256>(), openSsl(::EVP_sha256())});
    figures_.atLeast("MD5, to OpenSSL's", best[1] / best[0], 0.95);
    figures_.atLeast("SHA-1, to OpenSSL's", best[3] / best[2], 0.95);
    figures_.atLeast("SHA-256, to OpenSSL's", best[5] / best[4], 0.95);
  }

  void againstMd5() const {
    const auto three = [](const uint8_t* data, size_t length) {
      TripleDigest digest;
      digest.update(data, length);
      keep(digest.digests());
    };
    const auto threeAndCounts = [](const uint8_t* data, size_t length) {
      TripleDigest digest;
      ByteCounts counts{};
      digest.updateAndCount(data, length, counts);
      keep(digest.digests());
      keep(counts);
    };
    const std::vector<double> best = bestOf(
        rounds_,
        {ours<Md5>(), over(noise_, three), over(noise_, threeAndCounts), over(equalBytes_, threeAndCounts)});
    figures_.atLeast("three digests, to MD5 alone", best[0] / best[1], 0.85);
    figures_.atLeast("three digests and histogram, to MD5 alone", best[0] / best[2], 0.78);
    // The hard case: every increment of a single table would wait for the one before.
    figures_.atLeast("three digests and histogram of equal bytes, to MD5 alone", best[0] / best[3], 0.78);
    figures_.plain("MD5 alone", megabytesPerSecond(best[0]), "MB/s");
  }

  /// Several messages at once, to the same messages one by one. The rounds are short and many: a kernel that
  /// keeps every unit busy is twice as slow while a neighbour works on the same core, and the best round
  /// counts.
  void manyMessages() const {
    constexpr size_t kMessages = 16;
    constexpr size_t kMessageBytes = 8'192;
    constexpr size_t kSmallMessages = 64;
    const int rounds = arguments_.rounds(1'500);
    std::vector<std::vector<uint8_t>> equal(kMessages, messageBuffer(kMessageBytes));
    const double md5 = bestOf(rounds, {timed([&equal] {
                                for (const auto& buffer : equal) {
                                  Md5 hasher;
                                  hasher.update(buffer.data(), kMessageBytes);
                                  keep(hasher.digest());
                                }
                              })})[0];
    std::vector<Loop> loops;
    std::vector<const LaneKernel*> kernels;
    for (const LaneKernel& kernel : laneKernels()) {
      if (!kernel.supported() || kernel.lanes == 1) continue;
      kernels.push_back(&kernel);
      loops.push_back(timed([&equal, &kernel] { digestBuffers(equal, kMessageBytes, {&kernel, 1}); }));
    }
    loops.push_back(timed([&equal] {
      for (const auto& buffer : equal) {
        TripleState state = {};
        portable::triple(state, buffer.data(), kMessageBytes / kBlockBytes);
        keep(state);
      }
    }));
    const std::vector<double> best = bestOf(rounds, loops);
    for (size_t i = 0; i < kernels.size(); ++i) {
      const std::string name = std::string("equal messages, ") + kernels[i]->name;
      if (kernels[i]->compress == avx2::compress) {
        figures_.atLeast(name + ", to the portable pass", best.back() / best[i], 3);
      } else {
        figures_.atLeast(name + ", to MD5 alone", md5 / best[i], kernels[i]->lanes == 2 ? 1.7 : 4.2);
      }
    }

    std::vector<std::vector<uint8_t>> small;
    for (size_t i = 0; i < kSmallMessages; ++i) small.push_back(messageBuffer(size_t{200} << i % 7));
    const std::vector<double> mixed =
        bestOf(rounds, {timed([&small] {
                          for (const auto& buffer : small) {
                            TripleDigest digest;
                            digest.update(buffer.data(), buffer.size() - kMessagePaddingBytes);
                            keep(digest.digests());
                          }
                        }),
                        timed([&small] { digestBuffers(small, 0, laneKernels()); })});
    figures_.atLeast("64 small messages at once, to one by one", mixed[0] / mixed[1],
                     fastLanes() ? 2.8 : 1.4);
  }
  /// The sizes of 62 files of a system folder, in the order of a listing, to the same one by one.
  void likeASystemFolder() const {
    std::vector<std::vector<uint8_t>> files;
    for (size_t i = 0; i < 62; ++i) {
      const size_t size = i % 31 == 7    ? 1'300'000
                          : i % 12 == 3  ? 680'000
                          : i % 8 == 1   ? 350'000
                          : i % 5 == 0   ? 183'000
                          : i % 9 == 2   ? 85'000
                          : i % 15 == 14 ? 24'000
                                         : 46'000;
      files.push_back(messageBuffer(size + i));
    }
    const std::vector<double> best =
        bestOf(arguments_.rounds(60), {timed([&files] {
                                         for (const auto& file : files) {
                                           TripleDigest digest;
                                           digest.update(file.data(), file.size() - kMessagePaddingBytes);
                                           keep(digest.digests());
                                         }
                                       }),
                                       timed([&files] { digestBuffers(files, 0, laneKernels()); })});
    figures_.atLeast("a batch like a system32, to one by one", best[0] / best[1], fastLanes() ? 3 : 1.4);
  }
  static bool fastLanes() { return avx512::supported(); }
  static std::vector<uint8_t> messageBuffer(size_t length) {
    return std::vector<uint8_t>(length + kMessagePaddingBytes, 'm');
  }
  /// `length` 0: each buffer's own.
  static void digestBuffers(std::vector<std::vector<uint8_t>>& buffers, size_t length,
                            std::span<const LaneKernel> kernels) {
    std::vector<Message> messages;
    messages.reserve(buffers.size());
    for (auto& buffer : buffers) {
      messages.push_back({buffer.data(), length != 0 ? length : buffer.size() - kMessagePaddingBytes, {}});
    }
    digestAll(messages, kernels);
    keep(messages);
  }

  void listKernels() const {
    std::vector<std::string> names;
    std::vector<Loop> loops;
    const auto addAll = [&](const std::string& what, const auto& bytes, auto kernels, auto run) {
      for (const auto& kernel : kernels) {
        if (!kernel.supported()) continue;
        names.push_back(what + ", kernel " + kernel.name);
        loops.push_back(over(bytes, [&kernel, run](const uint8_t* data, size_t length) {
          run(kernel, data, length / kBlockBytes);
        }));
      }
    };
    const auto runSingle = [](const DigestKernel& kernel, const uint8_t* blocks, size_t count) {
      uint32_t state[8] = {};
      kernel.compress(state, blocks, count);
      keep(state);
    };
    const auto runTriple = [](const TripleKernel& kernel, const uint8_t* blocks, size_t count) {
      TripleState state = {};
      kernel.compress(state, blocks, count);
      keep(state);
    };
    const auto runCount = [](const CountKernel& kernel, const uint8_t* blocks, size_t count) {
      ByteTables tables;
      kernel.count(tables, blocks, count * kBlockBytes);
      keep(tables);
    };
    addAll("SHA-1", noise_, sha1Kernels(), runSingle);
    addAll("SHA-256", noise_, sha256Kernels(), runSingle);
    addAll("three digests", noise_, tripleKernels(), runTriple);
    addAll("counting bytes, a third of them zeros", noiseAndZeros_, countKernels(), runCount);
    const std::vector<double> best = bestOf(rounds_, loops);
    for (size_t i = 0; i < names.size(); ++i) figures_.plain(names[i], megabytesPerSecond(best[i]), "MB/s");
  }

  double megabytesPerSecond(double seconds) const {
    return static_cast<double>(kStreamBytes) * repeats_ / seconds / 1e6;
  }

  const Arguments& arguments_;
  const int rounds_;
  const int repeats_;
  const std::vector<uint8_t> noise_ = noise();
  const std::vector<uint8_t> noiseAndZeros_ = noiseAndZeros();
  const std::vector<uint8_t> equalBytes_ = std::vector<uint8_t>(kStreamBytes, 0);
  const Figures figures_{"digest"};
};

}  // namespace

int main(int argc, char** argv) {
  return korvel::bench::runBench(argc, argv,
                                 [](const Arguments& arguments) { DigestBench(arguments).run(); });
}

// Mutants of a full image: each byte of its headers changed, each truncation, and many changed at random. All
// keep the promises of the analysis, in bounded time. KORVEL_MUTANTS says how many random ones there are, and
// then every header byte takes every value; KORVEL_SEED chooses others.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>

#include "pe/image_promises.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

using namespace korvel::test;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr uint64_t kNow = 1'700'000'000;
constexpr uint32_t kFewMutants = 2'000;
constexpr milliseconds kBound{2'000};  // of one analysis, on a slow machine and under sanitizers

/// The number in an environment variable; `otherwise` without it.
uint32_t numberFrom(const char* variable, uint32_t otherwise) {
  const char* given = std::getenv(variable);
  return given != nullptr ? static_cast<uint32_t>(std::strtoul(given, nullptr, 10)) : otherwise;
}

bool wantsAll() { return std::getenv("KORVEL_MUTANTS") != nullptr; }

Bytes fullImage(PeKind kind) {
  return PeBuilder(kind)
      .dll()
      .section({"UPX0", kPeRwx, {}, 0x4000})
      .section({".text", kPeCode, noiseBytes(300)})
      .section({".data", kPeData, cyclingBytes(700, 7)})
      .import("kernel32.dll", {"WriteProcessMemory", "Sleep"})
      .import("user32.dll", {"MessageBoxA"})
      .importOrdinal("ws2_32.dll", 23)
      .directory(kPeResourceDirectory, 0x2000, 64)
      .directory(kPeDebugDirectory, 0x2040, 28)
      .directory(kPeTlsDirectory, 0x5000, 24)
      .timeStamp(UINT32_MAX)
      .overlay(noiseBytes(40))
      .build();
}

class PeMutants : public testing::TestWithParam<PeKind> {
 protected:
  ~PeMutants() override {
    std::printf("mutants %zu slowest %lld ms\n", analysed_, static_cast<long long>(slowest_.count()));
  }

  /// False once a promise is broken.
  bool analyse(const uint8_t* bytes, size_t size, uint64_t fileSize) {
    const steady_clock::time_point begin = steady_clock::now();
    const PeAnalysis analysis = analyzePeBuffer(ByteView(bytes, size), fileSize, kNow);
    slowest_ = std::max(slowest_, std::chrono::duration_cast<milliseconds>(steady_clock::now() - begin));
    ++analysed_;
    const char* broken = brokenPromise(analysis, size);
    EXPECT_EQ(broken, nullptr) << broken;
    EXPECT_LT(slowest_, kBound);
    return !HasFailure();
  }

  const Bytes whole_ = fullImage(GetParam());
  size_t analysed_ = 0;
  milliseconds slowest_{0};
};

TEST_P(PeMutants, OfEveryHeaderByteKeepThePromises) {
  const size_t headers = PeBuilder(GetParam()).sectionHeaderAt(4);
  Bytes image = whole_;
  for (size_t at = 0; at < headers; ++at) {
    const uint8_t original = image[at];
    for (uint32_t value = 0; value < 256; ++value) {
      const uint32_t changed = value ^ original;
      const bool edge = changed == 1 || changed == 0x80 || value == 0 || value == 0xFF;
      if (!wantsAll() && !edge) continue;
      image[at] = static_cast<uint8_t>(value);
      ASSERT_TRUE(analyse(image.data(), image.size(), image.size())) << "byte " << at << " is " << value;
    }
    image[at] = original;
  }
}

TEST_P(PeMutants, OfEveryLengthKeepThePromises) {
  for (size_t size = 0; size <= whole_.size(); ++size) {
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::memcpy(block.get(), whole_.data(), size);
    ASSERT_TRUE(analyse(block.get(), size, size) && analyse(block.get(), size, whole_.size())) << size;
  }
}

TEST_P(PeMutants, OfRandomBytesAndWordsKeepThePromises) {
  constexpr uint32_t kEdges[] = {0,     1,      2,          0x7F,       0x80,      0xFF,
                                 0x200, 0x1000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  const uint32_t seed = numberFrom("KORVEL_SEED", 20'251'121);
  std::mt19937 random(seed);
  const auto below = [&random](size_t limit) { return random() % limit; };
  const size_t headers = PeBuilder(GetParam()).sectionHeaderAt(4);
  for (uint32_t i = 0; i < numberFrom("KORVEL_MUTANTS", kFewMutants); ++i) {
    Bytes image = whole_;
    for (size_t changes = 1 + below(8); changes > 0; --changes) {
      const size_t at = below(below(4) != 0 ? headers : image.size() - 4);
      const uint32_t word =
          below(2) != 0 ? kEdges[below(std::size(kEdges))] : static_cast<uint32_t>(random());
      std::memcpy(image.data() + at, &word, size_t{1} << below(3));
    }
    const size_t size = below(4) != 0 ? image.size() : below(image.size() + 1);
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::memcpy(block.get(), image.data(), size);
    ASSERT_TRUE(analyse(block.get(), size, size)) << "mutant " << i << " of seed " << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(BothKinds, PeMutants, testing::Values(PeKind::kPe32, PeKind::kPe32Plus));

}  // namespace
}  // namespace korvel

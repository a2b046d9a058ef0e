// Every kernel that this processor can run, not only the one that would be chosen, against the portable one;
// and the portable one against the reference.
#include "hash/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "hash/block_stream.h"
#include "hash/md5.h"
#include "hash/pattern_digests.h"
#include "hash/sha1.h"
#include "hash/sha256.h"
#include "hash/word_bytes.h"

namespace korvel::hash {
namespace {

constexpr size_t kSplits[] = {1, 3, 61, 63, 64, 65, 67, 127, 129, 1000};

template <typename Algorithm>
std::string digestWith(const DigestKernel& kernel, const uint8_t* data, size_t length, size_t step) {
  auto state = Algorithm::kInitialState;
  BlockStream stream;
  const auto compress = [&](const uint8_t* blocks, size_t count) {
    kernel.compress(state.data(), blocks, count);
  };
  for (size_t at = 0; at < length; at += step)
    stream.update(data + at, std::min(step, length - at), compress);
  const PaddedTail tail = stream.paddedTail(Algorithm::kByteOrder);
  compress(tail.bytes.data(), tail.blocks);
  return encodeHex(digestBytes(state, Algorithm::kByteOrder));
}

struct Digest1 {
  using Algorithm = Sha1Algorithm;
  static auto kernels() { return sha1Kernels(); }
  static const char* reference(const test::PatternDigests& row) { return row.sha1; }
};
struct Digest256 {
  using Algorithm = Sha256Algorithm;
  static auto kernels() { return sha256Kernels(); }
  static const char* reference(const test::PatternDigests& row) { return row.sha256; }
};

template <typename Digest>
class EveryDigestKernel : public testing::Test {
 protected:
  template <typename Check>
  static void forEachSupported(Check check) {
    for (const DigestKernel& kernel : Digest::kernels()) {
      if (!kernel.supported()) continue;
      SCOPED_TRACE(kernel.name);
      check(kernel);
    }
  }
};
using Digests = testing::Types<Digest1, Digest256>;
TYPED_TEST_SUITE(EveryDigestKernel, Digests);

TYPED_TEST(EveryDigestKernel, ListEndsWithPortableWhichRunsEverywhere) {
  const auto kernels = TypeParam::kernels();
  EXPECT_STREQ(kernels.back().name, "portable");
  EXPECT_TRUE(kernels.back().supported());
}

TYPED_TEST(EveryDigestKernel, MatchesTheReference) {
  this->forEachSupported([](const DigestKernel& kernel) {
    for (const auto& row : test::kPatternDigests) {
      const auto bytes = test::pattern(row.length);
      EXPECT_EQ(digestWith<typename TypeParam::Algorithm>(kernel, bytes.get(), row.length, 4096),
                TypeParam::reference(row))
          << row.length;
    }
  });
}

TYPED_TEST(EveryDigestKernel, EqualsPortableForEveryLengthAndSplit) {
  using Algorithm = typename TypeParam::Algorithm;
  const DigestKernel& portable = TypeParam::kernels().back();
  this->forEachSupported([&](const DigestKernel& kernel) {
    for (size_t length = 0; length <= 260; ++length) {
      const auto bytes = test::pattern(length);
      const std::string expected = digestWith<Algorithm>(portable, bytes.get(), length, 1000);
      for (const size_t step : kSplits) {
        ASSERT_EQ(digestWith<Algorithm>(kernel, bytes.get(), length, step), expected)
            << length << "/" << step;
      }
    }
  });
}

TYPED_TEST(EveryDigestKernel, EqualsPortableFromAnyStateAndAlignment) {
  constexpr size_t kWords = TypeParam::Algorithm::kInitialState.size();
  const DigestKernel& portable = TypeParam::kernels().back();
  this->forEachSupported([&](const DigestKernel& kernel) {
    for (size_t offset = 0; offset < 17; ++offset) {
      for (const size_t count : test::Lengths{0, 1, 2, 3, 17, 100}) {
        const auto bytes = test::pattern(offset + count * kBlockBytes);
        // A word beyond the state shows a store that is too wide.
        std::array<uint32_t, kWords + 1> state;
        for (size_t i = 0; i <= kWords; ++i) state[i] = static_cast<uint32_t>(0x9e3779b9 * (offset + i + 1));
        auto expected = state;
        portable.compress(expected.data(), bytes.get() + offset, count);
        kernel.compress(state.data(), bytes.get() + offset, count);
        ASSERT_EQ(state, expected) << offset << "/" << count;
      }
    }
  });
}

bool equal(const TripleState& a, const TripleState& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TripleState someState(uint32_t seed) {
  TripleState state;
  for (uint32_t& word : state.md5) word = seed = seed * 1664525 + 1013904223;
  for (uint32_t& word : state.sha1) word = seed = seed * 1664525 + 1013904223;
  for (uint32_t& word : state.sha256) word = seed = seed * 1664525 + 1013904223;
  return state;
}

ByteCounts sum(const ByteTables& tables) {
  ByteCounts counts{};
  tables.addTo(counts);
  return counts;
}

TEST(CountKernels, ListEndsWithPortableWhichRunsEverywhere) {
  EXPECT_STREQ(countKernels().back().name, "portable");
  EXPECT_TRUE(countKernels().back().supported());
}

/// A pattern of which every `zeroEvery`-th run of seven bytes is zeros.
std::vector<uint8_t> withZeros(size_t length, size_t zeroEvery) {
  const auto pattern = test::pattern(length);
  std::vector<uint8_t> bytes(pattern.get(), pattern.get() + length);
  for (size_t i = 0; i < length; ++i) {
    if (i / 7 % zeroEvery == 0) bytes[i] = 0;
  }
  return bytes;
}

TEST(CountKernels, EveryOneCountsEachByteOnceAtAnyLengthAndAlignment) {
  std::vector<size_t> lengths = {4095, 4096, 4097, 8191, 12'345, ByteTables::kMaxBytes};
  for (size_t length = 0; length <= 200; ++length) lengths.push_back(length);
  for (const CountKernel& kernel : countKernels()) {
    if (!kernel.supported()) continue;
    SCOPED_TRACE(kernel.name);
    for (const size_t length : lengths) {
      for (const size_t zeroEvery : test::Lengths{1, 2, 3, 1000}) {  // 1: zeros alone
        const std::vector<uint8_t> bytes = withZeros(length + 3, zeroEvery);
        const uint8_t* const unaligned = bytes.data() + 3;
        ByteTables tables;
        kernel.count(tables, unaligned, length);
        ByteCounts counts{};
        for (size_t i = 0; i < length; ++i) ++counts[unaligned[i]];
        ASSERT_EQ(sum(tables), counts) << length << ", zeros in each of " << zeroEvery;
      }
    }
  }
}

TEST(CountKernels, CountingAddsToTheTables) {
  for (const CountKernel& kernel : countKernels()) {
    if (!kernel.supported()) continue;
    SCOPED_TRACE(kernel.name);
    const std::vector<uint8_t> bytes = {0, 0, 9, 0, 9};
    ByteTables tables;
    kernel.count(tables, bytes.data(), bytes.size());
    kernel.count(tables, bytes.data(), 3);
    EXPECT_EQ(sum(tables)[0], 5u);
    EXPECT_EQ(sum(tables)[9], 3u);
  }
}

TEST(TripleKernels, ListEndsWithPortableWhichRunsEverywhere) {
  EXPECT_STREQ(tripleKernels().back().name, "portable");
  EXPECT_TRUE(tripleKernels().back().supported());
}

TEST(TripleKernels, EveryOneEqualsTheSinglePortableDigests) {
  for (const TripleKernel& kernel : tripleKernels()) {
    if (!kernel.supported()) continue;
    SCOPED_TRACE(kernel.name);
    for (size_t offset = 0; offset < 17; ++offset) {
      for (const size_t count : test::Lengths{0, 1, 2, 3, 4, 63, 64, 65, 130}) {
        const auto bytes = test::pattern(offset + count * kBlockBytes);
        TripleState state = someState(static_cast<uint32_t>(offset));
        TripleState expected = state;
        Md5Algorithm::compress(expected.md5, bytes.get() + offset, count);
        portable::sha1(expected.sha1, bytes.get() + offset, count);
        portable::sha256(expected.sha256, bytes.get() + offset, count);
        kernel.compress(state, bytes.get() + offset, count);
        ASSERT_TRUE(equal(state, expected)) << offset << "/" << count;
      }
    }
  }
}

TEST(TripleKernels, EveryOneCountsTheBytesAndDigestsThemAsWithoutCounting) {
  for (const TripleKernel& kernel : tripleKernels()) {
    if (!kernel.supported()) continue;
    SCOPED_TRACE(kernel.name);
    for (const size_t count : test::Lengths{0, 1, 2, 3, 63, 64, 65, 130}) {
      const size_t length = count * kBlockBytes;
      const auto bytes = test::pattern(length, /*first=*/count);
      TripleState state = someState(7);
      TripleState expected = state;
      ByteTables tables;
      kernel.compressAndCount(state, bytes.get(), count, tables);
      kernel.compress(expected, bytes.get(), count);
      ASSERT_TRUE(equal(state, expected)) << count;
      ByteCounts counts{};
      for (size_t i = 0; i < length; ++i) ++counts[bytes[i]];
      ASSERT_EQ(sum(tables), counts) << count;
    }
  }
}

TEST(TripleKernels, CountingAddsToTheTables) {
  for (const TripleKernel& kernel : tripleKernels()) {
    if (!kernel.supported()) continue;
    SCOPED_TRACE(kernel.name);
    const std::vector<uint8_t> bytes(4 * kBlockBytes, 0xff);
    TripleState state = someState(1);
    ByteTables tables;
    kernel.compressAndCount(state, bytes.data(), 4, tables);
    kernel.compressAndCount(state, bytes.data(), 3, tables);
    EXPECT_EQ(sum(tables)[0xff], 7 * kBlockBytes);
  }
}

struct FakeKernel {
  const char* name;
  bool (*supported)();
};

TEST(FastestSupported, TakesTheFirstThatTheProcessorCanRun) {
  const auto yes = [] { return true; };
  const auto no = [] { return false; };
  const FakeKernel kernels[] = {{"newest", no}, {"newer", yes}, {"portable", yes}};
  EXPECT_STREQ(fastestSupported(std::span<const FakeKernel>(kernels)).name, "newer");
  EXPECT_STREQ(fastestSupported(std::span<const FakeKernel>(kernels).last(1)).name, "portable");
}

}  // namespace
}  // namespace korvel::hash

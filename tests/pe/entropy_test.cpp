#include "pe/entropy.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/pe_builder.h"

namespace korvel {
namespace {

using test::Bytes;
using test::cyclingBytes;
using test::noiseBytes;

double entropyOf(ByteView bytes) {
  hash::ByteCounts counts{};
  hash::countBytes(bytes.data(), bytes.size(), counts);
  return shannonEntropy(counts);
}

double entropyOf(const Bytes& bytes) { return entropyOf(ByteView(bytes)); }

/// One sweep must give the same entropies as counting each range on its own, and the same digests as the
/// buffer in one piece.
void expectSameAsCountedAlone(const Bytes& bytes, const std::vector<ByteRange>& ranges) {
  hash::TripleDigest fed;
  const BufferEntropies measured = measureEntropies(ByteView(bytes), ranges, &fed);
  hash::TripleDigest whole;
  whole.update(bytes.data(), bytes.size());
  EXPECT_EQ(fed.digests(), whole.digests());
  EXPECT_EQ(measureEntropies(ByteView(bytes), ranges).ranges, measured.ranges);
  EXPECT_DOUBLE_EQ(measured.whole, entropyOf(bytes));
  ASSERT_EQ(measured.ranges.size(), ranges.size());
  for (size_t i = 0; i < ranges.size(); ++i) {
    EXPECT_DOUBLE_EQ(measured.ranges[i], entropyOf(ByteView(bytes).clipped(ranges[i].offset, ranges[i].size)))
        << i;
  }
}

TEST(ShannonEntropy, IsZeroForNothingAndForOneRepeatedByte) {
  EXPECT_EQ(shannonEntropy({}), 0.0);
  EXPECT_EQ(entropyOf(Bytes(1000, 'x')), 0.0);
}

TEST(ShannonEntropy, IsTheNumberOfBitsForEvenlySpreadBytes) {
  EXPECT_DOUBLE_EQ(entropyOf(cyclingBytes(1024, 2)), 1.0);
  EXPECT_DOUBLE_EQ(entropyOf(cyclingBytes(1024, 16)), 4.0);
  EXPECT_DOUBLE_EQ(entropyOf(cyclingBytes(1024, 256)), 8.0);
}

TEST(ShannonEntropy, WeighsUnevenBytes) {
  EXPECT_DOUBLE_EQ(entropyOf(Bytes{'a', 'a', 'a', 'b'}), 0.75 * std::log2(4.0 / 3.0) + 0.25 * 2.0);
}

TEST(ShannonEntropy, AgreesWithItsDefinitionForCountsOfEverySize) {
  uint32_t state = 1;
  for (int round = 0; round < 200; ++round) {
    hash::ByteCounts counts{};
    double total = 0.0;
    for (uint64_t& count : counts) {
      state = state * 1664525 + 1013904223;
      count = round == 0 ? 16'777'215 : state >> (state >> 16) % 32 >> 6;  // up to 2^26, small ones as often
      total += static_cast<double>(count);
    }
    double expected = 0.0;
    for (const uint64_t bin : counts) {
      const auto count = static_cast<double>(bin);
      if (bin != 0) expected -= count / total * std::log2(count / total);
    }
    EXPECT_NEAR(shannonEntropy(counts), expected, 1e-13);
  }
}

TEST(MeasureEntropies, OfAnEmptyBufferAreZero) {
  const std::vector<ByteRange> ranges = {{0, 10}, {UINT64_MAX, UINT64_MAX}};
  const BufferEntropies measured = measureEntropies({}, ranges);
  EXPECT_EQ(measured.whole, 0.0);
  EXPECT_EQ(measured.ranges, (std::vector<double>{0.0, 0.0}));
}

TEST(MeasureEntropies, OfRangesInARow) {
  expectSameAsCountedAlone(noiseBytes(5000), {{0, 1000}, {1000, 1}, {1001, 2000}, {4000, 1000}});
}

TEST(MeasureEntropies, OfRangesInAnyOrderAndEmptyOnes) {
  expectSameAsCountedAlone(noiseBytes(5000), {{4000, 500}, {0, 0}, {100, 300}, {4999, 0}, {2000, 700}});
}

TEST(MeasureEntropies, OfRangesThatReachPastTheEnd) {
  expectSameAsCountedAlone(noiseBytes(5000), {{4990, 100}, {5000, 1}, {9000, 5}, {UINT32_MAX, UINT32_MAX}});
}

TEST(MeasureEntropies, OfOverlappingNestedAndEqualRanges) {
  expectSameAsCountedAlone(noiseBytes(5000),
                           {{0, 5000}, {10, 20}, {15, 20}, {10, 20}, {10, 4990}, {0, 5000}, {30, 1}});
}

TEST(MeasureEntropies, OfMoreRangesThanOneSweepTakes) {
  std::vector<ByteRange> ranges;
  for (uint64_t i = 0; i < 40'000; ++i) ranges.push_back({i * 7919 % 3000, i * 104'729 % 2500});
  expectSameAsCountedAlone(noiseBytes(4000), ranges);
}

}  // namespace
}  // namespace korvel

#include "hash/byte_histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "hash/pattern_digests.h"

namespace korvel::hash {
namespace {

ByteCounts countedOneByOne(const uint8_t* data, size_t length) {
  ByteCounts counts{};
  for (size_t i = 0; i < length; ++i) ++counts[data[i]];
  return counts;
}

TEST(ByteHistogram, NoBytesCountNothing) {
  ByteCounts counts{};
  countBytes(nullptr, 0, counts);
  EXPECT_EQ(counts, ByteCounts{});
}

TEST(ByteHistogram, EveryLengthEqualsCountingOneByOne) {
  std::vector<size_t> lengths;
  for (size_t length = 0; length <= 260; ++length) lengths.push_back(length);
  // Around the length from which tables are used, and around what they take before they are added up.
  for (const size_t edge : test::Lengths{2048, ByteTables::kMaxBytes, 2 * ByteTables::kMaxBytes}) {
    for (size_t length = edge - 9; length <= edge + 9; ++length) lengths.push_back(length);
  }
  for (const size_t length : lengths) {
    const auto bytes = test::pattern(length);
    ByteCounts counts{};
    countBytes(bytes.get(), length, counts);
    ASSERT_EQ(counts, countedOneByOne(bytes.get(), length)) << length;
  }
}

TEST(ByteHistogram, EqualBytesAllCountAtTheirValue) {
  for (const uint8_t value : {uint8_t{0}, uint8_t{127}, uint8_t{255}}) {
    const std::vector<uint8_t> bytes(3 * ByteTables::kMaxBytes + 5, value);
    ByteCounts counts{};
    countBytes(bytes.data(), bytes.size(), counts);
    EXPECT_EQ(counts, countedOneByOne(bytes.data(), bytes.size()));
    EXPECT_EQ(counts[value], bytes.size());
  }
}

TEST(ByteHistogram, EveryValueHasItsOwnPlace) {
  for (int value = 0; value < 256; ++value) {
    std::vector<uint8_t> bytes(4096, 0);
    // The value once at each place of an eight-byte word.
    for (size_t i = 0; i < 8; ++i) bytes[i * 9] = static_cast<uint8_t>(value);
    ByteCounts counts{};
    countBytes(bytes.data(), bytes.size(), counts);
    ASSERT_EQ(counts, countedOneByOne(bytes.data(), bytes.size())) << value;
  }
}

TEST(ByteHistogram, AddsToWhatIsThere) {
  const auto bytes = test::pattern(10000);
  ByteCounts pieces{};
  countBytes(bytes.get(), 3333, pieces);
  countBytes(bytes.get() + 3333, 0, pieces);
  countBytes(bytes.get() + 3333, 6667, pieces);
  EXPECT_EQ(pieces, countedOneByOne(bytes.get(), 10000));
}

TEST(ByteHistogram, CountsPassWhatThirtyTwoBitsHold) {
  ByteCounts counts{};
  counts[7] = UINT32_MAX;
  const std::vector<uint8_t> bytes(4096, 7);
  countBytes(bytes.data(), bytes.size(), counts);
  EXPECT_EQ(counts[7], uint64_t{UINT32_MAX} + 4096);
}

}  // namespace
}  // namespace korvel::hash

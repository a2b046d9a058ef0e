#include "base/byte_view.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace korvel {
namespace {

constexpr uint64_t kMax = UINT64_MAX;

TEST(ByteView, HasAnswersBothSidesOfItsEnd) {
  const std::array<uint8_t, 8> bytes{};
  const ByteView view(bytes);
  EXPECT_TRUE(view.has(0, 8));
  EXPECT_FALSE(view.has(0, 9));
  EXPECT_TRUE(view.has(7, 1));
  EXPECT_FALSE(view.has(7, 2));
  EXPECT_TRUE(view.has(8, 0));
  EXPECT_FALSE(view.has(8, 1));
  EXPECT_FALSE(view.has(9, 0));
}

TEST(ByteView, HasDoesNotWrapAtTheEndOf64Bits) {
  const std::array<uint8_t, 8> bytes{};
  const ByteView view(bytes);
  EXPECT_FALSE(view.has(kMax, 0));
  EXPECT_FALSE(view.has(kMax, 1));
  EXPECT_FALSE(view.has(kMax, kMax));
  EXPECT_FALSE(view.has(0, kMax));
  EXPECT_FALSE(view.has(1, kMax));          // the sum is 0
  EXPECT_FALSE(view.has(4, kMax - 3));      // the sum is 0
  EXPECT_FALSE(view.has(8, kMax - 7 + 4));  // the sum is 4
  EXPECT_FALSE(view.has(kMax - 3, 4));      // the sum is 0
  EXPECT_FALSE(view.has(uint64_t{1} << 63, uint64_t{1} << 63));
  EXPECT_FALSE(view.has(uint64_t{1} << 32, 1));  // an offset that 32 bits would lose
}

TEST(ByteView, AnEmptyViewHasOnlyNothing) {
  const ByteView view;
  EXPECT_TRUE(view.empty());
  EXPECT_TRUE(view.has(0, 0));
  EXPECT_FALSE(view.has(0, 1));
  EXPECT_FALSE(view.u8(0));
  EXPECT_TRUE(view.clipped(0, kMax).empty());
}

TEST(ByteView, ReadsLittleEndianAtAnyOffset) {
  const std::array<uint8_t, 9> bytes{0xEE, 0x01, 0x82, 0x03, 0x84, 0x05, 0x86, 0x07, 0x88};
  const ByteView view(bytes);
  EXPECT_EQ(view.u8(2), 0x82);
  EXPECT_EQ(view.u16(1), 0x8201);
  EXPECT_EQ(view.u32(1), 0x84038201u);
  EXPECT_EQ(view.u64(1), 0x8807860584038201u);
}

// Every prefix in a heap block of its own, so that a sanitizer sees one byte too many.
TEST(ByteView, ReadsNothingThatDoesNotFitWhole) {
  for (size_t size = 0; size <= 9; ++size) {
    const std::vector<uint8_t> bytes(size, 0xFF);
    const ByteView view(bytes);
    for (uint64_t offset = 0; offset <= 10; ++offset) {
      EXPECT_EQ(view.u8(offset).has_value(), offset + 1 <= size);
      EXPECT_EQ(view.u16(offset).has_value(), offset + 2 <= size);
      EXPECT_EQ(view.u32(offset).has_value(), offset + 4 <= size);
      EXPECT_EQ(view.u64(offset).has_value(), offset + 8 <= size);
    }
    EXPECT_FALSE(view.u16(kMax));
    EXPECT_FALSE(view.u32(kMax - 2));
    EXPECT_FALSE(view.u64(kMax - 7));
  }
}

TEST(ByteView, ClippedKeepsWhatLiesInside) {
  const std::array<uint8_t, 4> bytes{1, 2, 3, 4};
  const ByteView view(bytes);
  EXPECT_EQ(view.clipped(1, 2).size(), 2u);
  EXPECT_EQ(view.clipped(1, 2).u8(0), 2);
  EXPECT_EQ(view.clipped(1, 3).size(), 3u);
  EXPECT_EQ(view.clipped(1, 4).size(), 3u);
  EXPECT_EQ(view.clipped(1, kMax).size(), 3u);
  EXPECT_EQ(view.clipped(3, kMax).size(), 1u);
  EXPECT_TRUE(view.clipped(4, 1).empty());
  EXPECT_TRUE(view.clipped(kMax, kMax).empty());
  EXPECT_TRUE(view.clipped(0, 0).empty());
}

TEST(ByteView, TakesTextAsBytes) {
  const ByteView view(std::string_view("\xFF\x00", 2));
  EXPECT_EQ(view.size(), 2u);
  EXPECT_EQ(view.u16(0), 0x00FF);
}

TEST(StoreLe, WritesWhatTheViewReads) {
  std::array<uint8_t, 12> bytes{};
  storeLe32(bytes.data(), 0x84038201u);
  storeLe64(bytes.data() + 4, 0x8807860584038201u);
  const ByteView view(bytes);
  EXPECT_EQ(view.u8(0), 0x01);
  EXPECT_EQ(view.u32(0), 0x84038201u);
  EXPECT_EQ(view.u64(4), 0x8807860584038201u);
}

}  // namespace
}  // namespace korvel

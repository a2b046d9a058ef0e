#include "engine/filter_messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace korvel::svc {
namespace {

/// A driver's message with every field in its own setter.
class Message {
 public:
  Message() {
    setLength(1'060);
    bytes_[16] = 'K';
    bytes_[17] = 'R';
    bytes_[18] = 'V';
    bytes_[19] = 'L';
    setVersion(1);
    setType(1);
    setBodySize(1'060);
    storeLe64(&bytes_[8], 0x1122334455667788);
  }
  Message& setLength(uint32_t value) { return set(0, value); }
  Message& setMagicByte(uint8_t value) {
    bytes_[16] = value;
    return *this;
  }
  Message& setVersion(uint32_t value) { return set(20, value); }
  Message& setType(uint32_t value) { return set(24, value); }
  Message& setBodySize(uint32_t value) { return set(28, value); }
  Message& setPath(const std::wstring& path) {
    for (size_t i = 0; i < path.size(); ++i) {
      bytes_[44 + 2 * i] = static_cast<uint8_t>(path[i]);
      bytes_[45 + 2 * i] = static_cast<uint8_t>(static_cast<uint32_t>(path[i]) >> 8);
    }
    return *this;
  }
  const std::vector<uint8_t>& bytes() const { return bytes_; }
  std::optional<FilterMessage> decode() const { return decodeFilterMessage(ByteView(bytes_)); }

 private:
  Message& set(size_t offset, uint32_t value) {
    storeLe32(&bytes_[offset], value);
    return *this;
  }
  std::vector<uint8_t> bytes_ = std::vector<uint8_t>(kFilterMessageBytes, 0);
};

TEST(DecodeFilterMessage, BothQueryTypesCarryPathAndMessageId) {
  for (const uint32_t type : {1u, 2u}) {
    const auto message = Message().setType(type).setPath(L"C:\\Загрузки\\a.exe").decode();
    ASSERT_TRUE(message);
    EXPECT_FALSE(message->keepAlive);
    EXPECT_EQ(message->messageId, 0x1122334455667788u);
    EXPECT_EQ(message->path, L"C:\\Загрузки\\a.exe");
  }
}

TEST(DecodeFilterMessage, APathWithoutNulFillsTheFieldOf512Units) {
  const auto message = Message().setPath(std::wstring(516, L'x')).decode();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->path, std::wstring(512, L'x'));
}

TEST(DecodeFilterMessage, AKeepAliveNeedsOnlyItsHead) {
  const auto message = Message().setType(3).setLength(16).setBodySize(16).decode();
  ASSERT_TRUE(message);
  EXPECT_TRUE(message->keepAlive);
  EXPECT_EQ(message->messageId, 0x1122334455667788u);
}

TEST(DecodeFilterMessage, AQueryNeedsALengthOf1056) {
  EXPECT_TRUE(Message().setLength(1'056).setBodySize(1'056).decode());
  EXPECT_FALSE(Message().setLength(1'055).setBodySize(1'055).decode());
}

TEST(DecodeFilterMessage, TheLengthFieldMayNotExceedTheBody) {
  EXPECT_TRUE(Message().setLength(1'060).decode());
  EXPECT_FALSE(Message().setLength(1'061).decode());
}

TEST(DecodeFilterMessage, TheBodySizeLiesBetweenTheHeadAndTheLengthField) {
  EXPECT_TRUE(Message().setBodySize(16).decode());
  EXPECT_FALSE(Message().setBodySize(15).decode());
  EXPECT_FALSE(Message().setLength(1'056).setBodySize(1'057).decode());
}

TEST(DecodeFilterMessage, OtherMagicVersionOrTypeGetsNoAnswer) {
  EXPECT_FALSE(Message().setMagicByte('X').decode());
  EXPECT_FALSE(Message().setVersion(2).decode());
  EXPECT_FALSE(Message().setVersion(0).decode());
  for (const uint32_t type : {0u, 4u, 10u, 0xFFFFFFFFu})
    EXPECT_FALSE(Message().setType(type).decode()) << type;
}

TEST(DecodeFilterMessage, EveryPrefixIsReadWithoutLookingBeyondIt) {
  constexpr size_t kHeadEnd = 32;
  constexpr size_t kPathStart = 44;
  const std::wstring path = L"C:\\a.exe";
  const Message message = Message().setPath(path);
  for (size_t size = 0; size <= kFilterMessageBytes; ++size) {
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::copy_n(message.bytes().begin(), size, block.get());
    const std::optional<FilterMessage> decoded = decodeFilterMessage(ByteView(block.get(), size));
    ASSERT_EQ(decoded.has_value(), size >= kHeadEnd) << size;
    if (decoded) {
      EXPECT_EQ(decoded->path, path.substr(0, (std::max(size, kPathStart) - kPathStart) / 2)) << size;
    }
  }
}

TEST(EncodeFilterAnswer, LaysOutTheFortyBytes) {
  const std::array<uint8_t, 40> expected = {
      0,   0,   0,   0,   0, 0, 0, 0, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11,  // status, id
      'K', 'R', 'V', 'L', 1, 0, 0, 0, 10,   0,    0,    0,    40,   0,    0,    0,     // head
      1,   0,   0,   0,   0, 0, 0, 0};                                                 // verdict
  EXPECT_EQ(encodeFilterAnswer(0x1122334455667788, /*block=*/true), expected);
  EXPECT_EQ(encodeFilterAnswer(1, /*block=*/false)[32], 0);
}

}  // namespace
}  // namespace korvel::svc

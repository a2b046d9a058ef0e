#include "protocol/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "protocol/wire.h"

namespace korvel::ipc {
namespace {

using test::RawFrame;

/// Header fields with one of them changed, decoded.
bool decode(const RawFrame& raw, FrameHeader* header, std::string* error) {
  const std::string bytes = raw.bytes();
  return decodeFrameHeader(ByteView(std::string_view(bytes)), header, error);
}

std::string refusalOf(const RawFrame& raw) {
  FrameHeader header{77, 88};
  std::string error;
  EXPECT_FALSE(decode(raw, &header, &error));
  EXPECT_FALSE(decode(raw, &header, nullptr));  // a caller that does not ask for the text
  EXPECT_EQ(header.opcode, 77u);
  EXPECT_EQ(header.length, 88u);
  return error;
}

TEST(FrameHeader, IsTwentyFourBytesInThisOrder) {
  const auto bytes = encodeFrameHeader({0x01020304, 0x00A0B0C0});
  const uint8_t expected[] = {0x4C, 0x56, 0x52, 0x4B, 1, 0, 0, 0, 4, 3, 2, 1,
                              0xC0, 0xB0, 0xA0, 0,    0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), std::string(std::begin(expected), std::end(expected)));
}

TEST(FrameHeader, DecodesWhatItEncodes) {
  const auto bytes = encodeFrameHeader({0xFFFFFFFF, kMaxPayloadBytes});
  FrameHeader header;
  std::string error = "untouched";
  ASSERT_TRUE(decodeFrameHeader(ByteView(bytes.data(), bytes.size()), &header, &error));
  EXPECT_EQ(header.opcode, 0xFFFFFFFFu);
  EXPECT_EQ(header.length, kMaxPayloadBytes);
  EXPECT_EQ(error, "untouched");
}

TEST(FrameHeader, ReservedBytesMayHoldAnything) {
  RawFrame raw;
  raw.opcode = 2;
  raw.reserved = "\xFF\x01\x80\x7Fwxyz";
  FrameHeader header;
  EXPECT_TRUE(decode(raw, &header, nullptr));
  EXPECT_EQ(header.opcode, 2u);
}

TEST(FrameHeader, AnyOtherMagicIsRefused) {
  for (int bit = 0; bit < 32; ++bit) {
    RawFrame raw;
    raw.magic ^= 1u << bit;
    EXPECT_EQ(refusalOf(raw), "bad magic");
  }
}

TEST(FrameHeader, AnyOtherVersionIsRefusedEvenWithTheRightMagic) {
  for (const uint32_t version : {0u, 2u, 256u, 0xFFFFFFFFu}) {
    RawFrame raw;
    raw.version = version;
    EXPECT_EQ(refusalOf(raw), "unsupported protocol version");
  }
}

TEST(FrameHeader, LengthIsAcceptedUpToThirtyTwoMebibytes) {
  RawFrame raw;
  raw.length = 33'554'432;
  FrameHeader header;
  EXPECT_TRUE(decode(raw, &header, nullptr));
  raw.length = 33'554'433;
  EXPECT_EQ(refusalOf(raw), "declared payload too large");
  raw.length = 0xFFFFFFFF;
  EXPECT_EQ(refusalOf(raw), "declared payload too large");
}

TEST(FrameHeader, MagicIsJudgedBeforeVersionAndVersionBeforeLength) {
  RawFrame raw;
  raw.length = 0xFFFFFFFF;
  raw.version = 9;
  EXPECT_EQ(refusalOf(raw), "unsupported protocol version");
  raw.magic = 0;
  EXPECT_EQ(refusalOf(raw), "bad magic");
}

TEST(FrameHeader, ShortInputIsRefusedWithoutReadingPastIt) {
  const std::string bytes = RawFrame{}.bytes();
  for (size_t length = 0; length < 8; ++length) {
    FrameHeader header;
    EXPECT_FALSE(decodeFrameHeader(ByteView(std::string_view(bytes).substr(0, length)), &header, nullptr));
  }
}

TEST(ChunkOf, IsWhatIsLeftButNoMoreThanOneChunk) {
  EXPECT_EQ(chunkOf(0), 0u);
  EXPECT_EQ(chunkOf(kIoChunkBytes - 1), kIoChunkBytes - 1);
  EXPECT_EQ(chunkOf(kIoChunkBytes), kIoChunkBytes);
  EXPECT_EQ(chunkOf(size_t{kIoChunkBytes} + 1), kIoChunkBytes);
}

/// A peer that sends 'a', 'b', 'c', ... and counts what each call has asked for.
struct Peer {
  std::vector<size_t> asked;
  size_t most = SIZE_MAX;  // calls that it answers
  bool operator()(char* buffer, size_t bytes) {
    if (asked.size() == most) return false;
    std::fill_n(buffer, bytes, static_cast<char>('a' + asked.size()));
    asked.push_back(bytes);
    return true;
  }
};

TEST(ReadPayload, GrowsByDoublingAndIsWhole) {
  constexpr size_t kChunk = kIoChunkBytes;
  Peer peer;
  std::string payload = "what was there before";
  EXPECT_TRUE(readPayload(&payload, 5 * kChunk + 1, std::ref(peer)));
  EXPECT_EQ(peer.asked, (std::vector<size_t>{kChunk, kChunk, 2 * kChunk, kChunk + 1}));
  EXPECT_EQ(payload, std::string(kChunk, 'a') + std::string(kChunk, 'b') + std::string(2 * kChunk, 'c') +
                         std::string(kChunk + 1, 'd'));
}

TEST(ReadPayload, AnEmptyOneAsksForNothing) {
  Peer peer;
  std::string payload = "what was there before";
  EXPECT_TRUE(readPayload(&payload, 0, std::ref(peer)));
  EXPECT_EQ(payload, "");
  EXPECT_TRUE(peer.asked.empty());
}

TEST(ReadPayload, EndsWithTheFirstReadThatFails) {
  Peer peer;
  peer.most = 1;
  std::string payload;
  EXPECT_FALSE(readPayload(&payload, size_t{kMaxPayloadBytes}, std::ref(peer)));
  EXPECT_LE(payload.size(), 2 * size_t{kIoChunkBytes}) << "no memory for what has not come";
}

}  // namespace
}  // namespace korvel::ipc

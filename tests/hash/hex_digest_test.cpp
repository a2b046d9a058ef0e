#include "hash/hex_digest.h"

#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <string>
#include <vector>

namespace korvel::hash {
namespace {

const std::string kDigits = "0123456789abcdefABCDEF";

/// Decodes text that lies in a heap block of exactly its size.
bool decodeExact(const std::string& text, std::vector<uint8_t>& bytes) {
  const auto block = std::make_unique<char[]>(text.size());
  text.copy(block.get(), text.size());
  bytes.assign(text.size() / 2, 0);
  return decodeHex(block.get(), bytes.size(), bytes.data());
}

TEST(DecodeHex, ReadsEveryByteInEitherCaseAtEveryPlace) {
  for (const size_t size : {1u, 7u, 8u, 9u, 16u, 20u, 31u, 32u}) {
    for (size_t at = 0; at < size; ++at) {
      for (int value = 0; value < 256; ++value) {
        std::string text(2 * size, '7');
        char pair[3];
        std::snprintf(pair, sizeof pair, value % 2 ? "%02x" : "%02X", value);
        text.replace(2 * at, 2, pair);
        std::vector<uint8_t> bytes;
        ASSERT_TRUE(decodeExact(text, bytes)) << text;
        std::vector<uint8_t> expected(size, 0x77);
        expected[at] = static_cast<uint8_t>(value);
        ASSERT_EQ(bytes, expected) << text;
      }
    }
  }
}

TEST(DecodeHex, RefusesEveryOtherCharacterAtEveryPlace) {
  for (const size_t size : {1u, 8u, 20u, 32u}) {
    for (size_t at = 0; at < 2 * size; ++at) {
      for (int c = 0; c < 256; ++c) {
        std::string text(2 * size, 'f');
        text[at] = static_cast<char>(c);
        const bool isHex = c != 0 && kDigits.find(static_cast<char>(c)) != std::string::npos;
        std::vector<uint8_t> bytes;
        ASSERT_EQ(decodeExact(text, bytes), isHex) << "character " << c << " at " << at << " of " << 2 * size;
      }
    }
  }
}

TEST(EncodeHex, IsLowerCaseAndTheInverseOfDecoding) {
  std::vector<uint8_t> bytes(256);
  for (size_t at = 0; at < bytes.size(); ++at) bytes[at] = static_cast<uint8_t>(at);
  const std::string text = encodeHex(bytes);
  EXPECT_EQ(text.substr(0, 8), "00010203");
  EXPECT_EQ(text.substr(2 * 0xAB, 4), "abac");
  std::vector<uint8_t> back;
  ASSERT_TRUE(decodeExact(text, back));
  EXPECT_EQ(back, bytes);
  EXPECT_EQ(encodeHex({}), "");
}

TEST(Digest, TakesOnlyTheThreeLengths) {
  for (size_t length = 0; length <= 130; ++length) {
    Digest digest;
    const bool known = length == 32 || length == 40 || length == 64;
    EXPECT_EQ(digest.parse(std::string(length, 'A')), known) << length;
    EXPECT_EQ(digest.size(), known ? length / 2 : 0) << length;
  }
}

TEST(Digest, IsEmptyAfterATextThatIsNone) {
  Digest digest;
  ASSERT_TRUE(digest.parse(std::string(40, '1')));
  EXPECT_FALSE(digest.parse(std::string(39, '1') + "g"));
  EXPECT_EQ(digest.size(), 0u);
  EXPECT_TRUE(digest.bytes().empty());
}

}  // namespace
}  // namespace korvel::hash

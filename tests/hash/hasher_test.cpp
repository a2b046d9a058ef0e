#include "hash/hasher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "hash/md5.h"
#include "hash/pattern_digests.h"
#include "hash/sha1.h"
#include "hash/sha256.h"

namespace korvel::hash {
namespace {

struct PublishedVector {
  std::string message;
  const char* digest;
};

void feed(Hasher& hasher, const std::string& text) {
  hasher.update(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

template <typename Digest>
std::string digestOf(const std::string& text) {
  Digest digest;
  feed(digest, text);
  return digest.hexDigest();
}

template <typename Digest>
std::string digestOf(const uint8_t* data, size_t length) {
  Digest digest;
  digest.update(data, length);
  return digest.hexDigest();
}

// RFC 1321, appendix A.5: the whole test suite.
TEST(Md5, GivesThePublishedDigests) {
  const PublishedVector vectors[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [message, digest] : vectors) EXPECT_EQ(digestOf<Md5>(message), digest) << message;
}

// NIST's examples for FIPS 180-4 ("SHA1.pdf": one block, two blocks), and from FIPS 180-2, appendix A.3, a
// million times "a". The empty message is the length-0 entry of NIST's SHA1ShortMsg.rsp.
TEST(Sha1, GivesThePublishedDigests) {
  const PublishedVector vectors[] = {
      {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
  };
  for (const auto& [message, digest] : vectors) EXPECT_EQ(digestOf<Sha1>(message), digest) << message.size();
}

// The same messages: NIST's "SHA256.pdf", FIPS 180-2, appendix B.3, and SHA256ShortMsg.rsp.
TEST(Sha256, GivesThePublishedDigests) {
  const PublishedVector vectors[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
  for (const auto& [message, digest] : vectors)
    EXPECT_EQ(digestOf<Sha256>(message), digest) << message.size();
}

// Everything below holds for all three alike.
template <typename Digest>
class EveryHasher : public testing::Test {
 protected:
  static std::string reference(const test::PatternDigests& row) {
    if constexpr (std::is_same_v<Digest, Md5>) return row.md5;
    if constexpr (std::is_same_v<Digest, Sha1>) return row.sha1;
    if constexpr (std::is_same_v<Digest, Sha256>) return row.sha256;
  }
};
using Hashers = testing::Types<Md5, Sha1, Sha256>;
TYPED_TEST_SUITE(EveryHasher, Hashers);

TYPED_TEST(EveryHasher, MatchesTheReferenceAtEveryEdgeOfABlock) {
  for (const auto& row : test::kPatternDigests) {
    const auto bytes = test::pattern(row.length);
    EXPECT_EQ(digestOf<TypeParam>(bytes.get(), row.length), this->reference(row)) << row.length;
  }
}

TYPED_TEST(EveryHasher, ByteByByteEqualsOneCall) {
  for (size_t length = 0; length <= 260; ++length) {
    const auto bytes = test::pattern(length);
    TypeParam single;
    for (size_t i = 0; i < length; ++i) single.update(bytes.get() + i, 1);
    ASSERT_EQ(single.hexDigest(), digestOf<TypeParam>(bytes.get(), length)) << length;
  }
}

TYPED_TEST(EveryHasher, AnySplitEqualsOneCall) {
  constexpr size_t kLength = 1000;
  const auto bytes = test::pattern(kLength);
  const std::string whole = digestOf<TypeParam>(bytes.get(), kLength);
  for (const size_t step : test::Lengths{2, 7, 31, 55, 56, 63, 64, 65, 119, 127, 128, 129, 333}) {
    TypeParam pieces;
    for (size_t at = 0; at < kLength; at += step) {
      pieces.update(bytes.get() + at, std::min<size_t>(step, kLength - at));
    }
    EXPECT_EQ(pieces.hexDigest(), whole) << step;
  }
}

TYPED_TEST(EveryHasher, NoBytesChangeNothing) {
  const auto bytes = test::pattern(100);
  TypeParam hasher;
  hasher.update(nullptr, 0);
  EXPECT_EQ(hasher.hexDigest(), TypeParam().hexDigest());
  hasher.update(bytes.get(), 70);
  hasher.update(nullptr, 0);
  hasher.update(bytes.get() + 70, 0);
  hasher.update(bytes.get() + 70, 30);
  EXPECT_EQ(hasher.hexDigest(), digestOf<TypeParam>(bytes.get(), 100));
}

TYPED_TEST(EveryHasher, AskingForTheDigestLeavesTheHasherAsItIs) {
  const auto bytes = test::pattern(300);
  for (const size_t first : test::Lengths{0, 1, 55, 56, 64, 100, 128}) {
    TypeParam hasher;
    hasher.update(bytes.get(), first);
    const std::string early = hasher.hexDigest();
    EXPECT_EQ(hasher.hexDigest(), early);
    EXPECT_EQ(early, digestOf<TypeParam>(bytes.get(), first));
    hasher.update(bytes.get() + first, 300 - first);
    EXPECT_EQ(hasher.hexDigest(), digestOf<TypeParam>(bytes.get(), 300)) << first;
  }
}

TYPED_TEST(EveryHasher, CopiesGoSeparateWays) {
  const auto bytes = test::pattern(200);
  TypeParam original;
  original.update(bytes.get(), 90);
  TypeParam copy = original;
  copy.update(bytes.get() + 90, 110);
  EXPECT_EQ(original.hexDigest(), digestOf<TypeParam>(bytes.get(), 90));
  EXPECT_EQ(copy.hexDigest(), digestOf<TypeParam>(bytes.get(), 200));
}

TYPED_TEST(EveryHasher, TextIsLowerCaseHexadecimalOfTheBytes) {
  const auto bytes = test::pattern(77);
  TypeParam hasher;
  hasher.update(bytes.get(), 77);
  const std::string text = hasher.hexDigest();
  const auto digest = hasher.digest();
  ASSERT_EQ(text.size(), 2 * digest.size());
  EXPECT_EQ(text.find_first_not_of("0123456789abcdef"), std::string::npos);
  for (size_t i = 0; i < digest.size(); ++i) {
    EXPECT_EQ(std::stoul(text.substr(2 * i, 2), nullptr, 16), digest[i]) << i;
  }
}

TYPED_TEST(EveryHasher, WorksThroughTheInterface) {
  const std::unique_ptr<Hasher> hasher = std::make_unique<TypeParam>();
  EXPECT_EQ(hasher->blockSize(), 64u);
  feed(*hasher, "ab");
  feed(*hasher, "c");
  EXPECT_EQ(hasher->hexDigest(), digestOf<TypeParam>("abc"));
}

}  // namespace
}  // namespace korvel::hash

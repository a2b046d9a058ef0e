#include "hash/triple_digest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "hash/digest_texts.h"
#include "hash/md5.h"
#include "hash/pattern_digests.h"
#include "hash/sha1.h"
#include "hash/sha256.h"
#include "hash/word_bytes.h"

namespace korvel::hash {
namespace {

template <typename Digest>
std::string digestOf(const uint8_t* data, size_t length) {
  Digest digest;
  digest.update(data, length);
  return digest.hexDigest();
}

void expectDigestsOf(const TripleDigest& triple, const uint8_t* data, size_t length) {
  const korvel::test::DigestTexts text = korvel::test::textsOf(triple);
  EXPECT_EQ(text.md5, digestOf<Md5>(data, length)) << length;
  EXPECT_EQ(text.sha1, digestOf<Sha1>(data, length)) << length;
  EXPECT_EQ(text.sha256, digestOf<Sha256>(data, length)) << length;
}

ByteCounts countedOneByOne(const uint8_t* data, size_t length) {
  ByteCounts counts{};
  for (size_t i = 0; i < length; ++i) ++counts[data[i]];
  return counts;
}

TEST(TripleDigest, MatchesTheReferenceAtEveryEdgeOfABlock) {
  for (const auto& row : test::kPatternDigests) {
    const auto bytes = test::pattern(row.length);
    TripleDigest triple;
    triple.update(bytes.get(), row.length);
    const korvel::test::DigestTexts text = korvel::test::textsOf(triple);
    EXPECT_EQ(text.md5, row.md5) << row.length;
    EXPECT_EQ(text.sha1, row.sha1) << row.length;
    EXPECT_EQ(text.sha256, row.sha256) << row.length;
  }
}

TEST(TripleDigest, EqualsThreeHashersForEveryLengthAndSplit) {
  for (size_t length = 0; length <= 260; ++length) {
    const auto bytes = test::pattern(length);
    for (const size_t step : test::Lengths{1, 3, 61, 63, 64, 65, 127, 129, 300}) {
      TripleDigest triple;
      for (size_t at = 0; at < length; at += step) {
        triple.update(bytes.get() + at, std::min<size_t>(step, length - at));
      }
      expectDigestsOf(triple, bytes.get(), length);
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(TripleDigest, NoBytesChangeNothing) {
  const auto bytes = test::pattern(100);
  TripleDigest triple;
  ByteCounts counts{};
  triple.update(nullptr, 0);
  triple.updateAndCount(nullptr, 0, counts);
  triple.update(bytes.get(), 100);
  triple.update(nullptr, 0);
  triple.updateAndCount(nullptr, 0, counts);
  expectDigestsOf(triple, bytes.get(), 100);
  EXPECT_EQ(counts, ByteCounts{});
}

TEST(TripleDigest, AskingForTheDigestsLeavesItAsItIs) {
  const auto bytes = test::pattern(200);
  TripleDigest triple;
  triple.update(bytes.get(), 77);
  expectDigestsOf(triple, bytes.get(), 77);
  expectDigestsOf(triple, bytes.get(), 77);
  triple.update(bytes.get() + 77, 123);
  expectDigestsOf(triple, bytes.get(), 200);
}

TEST(TripleDigest, StartsAnewAfterReset) {
  const auto bytes = test::pattern(200);
  TripleDigest triple;
  for (const size_t length : test::Lengths{200, 0, 1, 64, 130}) {
    triple.update(bytes.get(), 99);
    triple.reset();
    triple.update(bytes.get(), length);
    expectDigestsOf(triple, bytes.get(), length);
    triple.reset();
  }
}

// Lengths around the one from which bytes are counted while digested, and around the one of a full table.
TEST(TripleDigest, CountsWhatItDigestsFromAnyPlaceInABlock) {
  constexpr size_t kMax = ByteTables::kMaxBytes;
  for (const size_t before : test::Lengths{0, 1, 63, 64}) {
    for (const size_t length : test::Lengths{1, 62, 63, 64, 65, 2047, 2048, 2112, 5000, kMax - 1, kMax,
                                             kMax + 1, kMax + 2112, 2 * kMax + 130}) {
      const auto bytes = test::pattern(before + length);
      TripleDigest triple;
      ByteCounts counts{};
      triple.update(bytes.get(), before);
      triple.updateAndCount(bytes.get() + before, length, counts);
      expectDigestsOf(triple, bytes.get(), before + length);
      EXPECT_EQ(counts, countedOneByOne(bytes.get() + before, length)) << before << "/" << length;
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(TripleDigest, CountingAddsToWhatIsThere) {
  const auto bytes = test::pattern(9000);
  TripleDigest triple;
  ByteCounts counts{};
  for (size_t at = 0; at < 9000; at += 2999) {
    triple.updateAndCount(bytes.get() + at, std::min<size_t>(2999, 9000 - at), counts);
  }
  expectDigestsOf(triple, bytes.get(), 9000);
  EXPECT_EQ(counts, countedOneByOne(bytes.get(), 9000));
}

}  // namespace
}  // namespace korvel::hash

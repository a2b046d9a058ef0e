#include "net/feed_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>

#include "base/text.h"

namespace korvel {
namespace {

const std::string kLower = "00112233445566778899aabbccddeeffa0b1c2d3e4f5061728394a5b6c7d8e9f";
const std::string kUpper = "00112233445566778899AABBCCDDEEFFA0B1C2D3E4F5061728394A5B6C7D8E9F";

std::string hexOf(const FeedKey& key) {
  std::string text;
  char digits[17];
  for (const uint64_t word : key) {
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(word));
    text += digits;
  }
  return text;
}

/// The hash in `line`, "" when it is not accepted.
std::string hashOf(std::string_view line) {
  const std::optional<FeedKey> key = feedKeyOfLine(line);
  return key ? hexOf(*key) : "";
}

std::vector<FeedKey> keysOf(std::string_view text) {
  FeedReader reader;
  reader.take(text);
  return reader.finish();
}

/// The digest whose first bytes are `number`, big-endian: ascending numbers give ascending digests.
FeedKey keyOfNumber(uint32_t number) { return {uint64_t{number} << 32, 0, 0, 0}; }

std::vector<FeedKey> keysOfNumbers(std::initializer_list<uint32_t> numbers) {
  std::vector<FeedKey> keys;
  for (const uint32_t number : numbers) keys.push_back(keyOfNumber(number));
  return keys;
}

std::vector<FeedKey> keyRange(uint32_t begin, uint32_t end) {
  std::vector<FeedKey> keys;
  keys.reserve(end - begin);
  for (uint32_t number = begin; number < end; ++number) keys.push_back(keyOfNumber(number));
  return keys;
}

std::vector<FeedKey> contentOf(const FeedSet& set) {
  std::vector<FeedKey> keys;
  set.inOrder([&keys](const FeedKey& key) {
    keys.push_back(key);
    return true;
  });
  return keys;
}

std::string rendered(const FeedSet& set, uint64_t unixSeconds) {
  std::string text;
  EXPECT_TRUE(renderLiveDatabase(set, unixSeconds, [&text](std::string_view piece) {
    text += piece;
    return true;
  }));
  return text;
}

// --- one line ---

TEST(FeedLine, BareHashIsAcceptedInEitherCase) {
  EXPECT_EQ(hashOf(kLower), kLower);
  EXPECT_EQ(hashOf(kUpper), kLower);
}

TEST(FeedLine, TextAfterTheFirstBlankIsIgnored) {
  EXPECT_EQ(hashOf("  " + kUpper + "  Trojan.X"), kLower);
  EXPECT_EQ(hashOf(kLower + "\tname # x"), kLower);
}

TEST(FeedLine, BlanksAndCarriageReturnsAroundAreTrimmed) {
  EXPECT_EQ(hashOf("\t \r" + kLower + " \r\r\t"), kLower);
  EXPECT_EQ(hashOf(kLower + "\r"), kLower);
}

TEST(FeedLine, CarriageReturnInsideEndsNothing) {
  EXPECT_EQ(hashOf(kLower + "\r name"), "");  // the word before the blank is 65 characters long
  EXPECT_EQ(hashOf(kLower + " \rname"), kLower);
}

TEST(FeedLine, OtherLengthsThan64AreIgnored) {
  EXPECT_EQ(hashOf(kLower.substr(1)), "");
  EXPECT_EQ(hashOf(kLower + "0"), "");
  EXPECT_EQ(hashOf(kLower.substr(1) + " 0"), "");
  EXPECT_EQ(hashOf(kLower + "," + kLower), "");
}

TEST(FeedLine, NonHexCharacterAnywhereIsIgnored) {
  for (size_t at = 0; at < kLower.size(); ++at) {
    for (const char c : {'g', 'G', '/', ':', '@', '`', '\xFF', '\0', '-', 'x'}) {
      std::string line = kLower;
      line[at] = c;
      EXPECT_EQ(hashOf(line), "") << at;
    }
  }
}

TEST(FeedLine, EveryHexDigitIsReadAtEveryPlace) {
  const std::string digits = "0123456789abcdefABCDEF";
  for (size_t at = 0; at < kLower.size(); ++at) {
    for (const char digit : digits) {
      std::string line = kLower;
      line[at] = digit;
      EXPECT_EQ(hashOf(line), lowerAscii(line));
    }
  }
}

TEST(FeedLine, EmptyAndCommentLinesAreSkipped) {
  EXPECT_EQ(hashOf(""), "");
  EXPECT_EQ(hashOf(" \t\r"), "");
  EXPECT_EQ(hashOf("#" + kLower), "");
  EXPECT_EQ(hashOf("  # " + kLower), "");
}

TEST(FeedLine, NoPrefixOfALineReadsBeyondItsEnd) {
  const std::string line = " " + kUpper + " Trojan.X\r";
  for (size_t length = 0; length <= line.size(); ++length) {
    const std::unique_ptr<char[]> block(new char[length]);
    std::copy_n(line.data(), length, block.get());
    EXPECT_EQ(hashOf({block.get(), length}), length >= 65 ? kLower : "") << length;
  }
}

// --- one source ---

TEST(FeedReader, SplitsAtLineFeedsAndNeedsNoneAtTheEnd) {
  const std::string other(64, '7');
  const std::vector<FeedKey> keys = keysOf("# list\r\n\n" + kUpper + "\r\nnonsense\n" + other);
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_EQ(hexOf(keys[0]), kLower);
  EXPECT_EQ(hexOf(keys[1]), other);
}

TEST(FeedReader, PiecesMayBeCutAnywhere) {
  const std::string text = "# c\n" + kLower + " a\r\n\n  " + kUpper + "\n" + std::string(64, '9') + "\nrest";
  const std::vector<FeedKey> whole = keysOf(text);
  ASSERT_EQ(whole.size(), 3u);
  for (size_t first = 0; first <= text.size(); ++first) {
    for (const size_t step : {size_t{1}, size_t{7}, size_t{64}, size_t{65}, text.size() + 1}) {
      FeedReader reader;
      reader.take(text.substr(0, first));
      for (size_t at = first; at < text.size(); at += step)
        reader.take(std::string_view(text).substr(at, step));
      EXPECT_EQ(reader.finish(), whole) << first << " " << step;
    }
  }
}

TEST(FeedReader, WithoutInputHasNoHashes) {
  FeedReader reader;
  EXPECT_TRUE(reader.finish().empty());
  reader.take("");
  EXPECT_TRUE(reader.finish().empty());
}

TEST(FeedReader, StartsAfreshAfterFinish) {
  FeedReader reader;
  reader.take(kLower.substr(0, 60));
  EXPECT_TRUE(reader.finish().empty());
  reader.take(kLower.substr(60));
  EXPECT_TRUE(reader.finish().empty());
}

TEST(FeedReader, LineFarLongerThanAPieceIsOneLine) {
  FeedReader reader;
  reader.take(kLower + " ");
  for (int i = 0; i < 1000; ++i) reader.take(kLower);
  reader.take("\n" + kLower);
  EXPECT_EQ(reader.finish().size(), 2u);
}

// --- the set ---

TEST(SortFeedKeys, AgreesWithAnOrdinarySortHoweverTheKeysAreSpread) {
  std::mt19937_64 random(7);
  for (const uint64_t mask :
       {~uint64_t{0}, uint64_t{0xFF} << 52, uint64_t{1} << 63, uint64_t{0xFF}, uint64_t{0}}) {
    for (const size_t count : {0u, 1u, 2u, 3u, 100u, 20'000u}) {
      std::vector<FeedKey> keys(count);
      for (FeedKey& key : keys) {
        key = {random() & mask, random() % 3, random() % 3, random() % 3};  // few or many buckets
      }
      std::vector<FeedKey> expected = keys;
      std::sort(expected.begin(), expected.end());
      sortFeedKeys(keys);
      EXPECT_EQ(keys, expected) << mask << " " << count;
      std::reverse(keys.begin(), keys.end());
      sortFeedKeys(keys);
      EXPECT_EQ(keys, expected) << mask << " " << count;
    }
  }
}

TEST(FeedSet, CollapsesDuplicatesWithinAndAcrossSources) {
  FeedSet set;
  EXPECT_TRUE(set.add(keysOfNumbers({5, 1, 5, 3, 1})));
  EXPECT_TRUE(set.add(keysOfNumbers({4, 3, 3, 2})));
  EXPECT_TRUE(set.add(keysOfNumbers({1, 2, 3, 4, 5})));
  EXPECT_TRUE(set.add(keysOfNumbers({6, 0, 4})));
  EXPECT_EQ(set.size(), 7u);
  EXPECT_EQ(contentOf(set), keyRange(0, 7));
}

TEST(FeedSet, SameHashInUpperAndLowerCaseCountsOnce) {
  FeedSet set;
  EXPECT_TRUE(set.add(keysOf(kLower + "\n" + kUpper + "\n")));
  EXPECT_EQ(set.size(), 1u);
}

TEST(FeedSet, AgreesWithAnOrderedSetOnRandomSources) {
  std::mt19937 random(11);
  for (int round = 0; round < 50; ++round) {
    FeedSet set;
    std::set<FeedKey> expected;
    for (int source = 0; source < 4; ++source) {
      std::vector<FeedKey> keys(random() % 300);
      for (FeedKey& key : keys) {
        key = keyOfNumber(static_cast<uint32_t>(random() % 200) * 0x01010101u);
        expected.insert(key);
      }
      EXPECT_TRUE(set.add(std::move(keys)));
    }
    EXPECT_EQ(contentOf(set), std::vector<FeedKey>(expected.begin(), expected.end()));
    EXPECT_EQ(set.size(), expected.size());
  }
}

TEST(FeedSet, FourMillionHashesAreAllowedAndOneMoreIsNot) {
  constexpr auto kLimit = static_cast<uint32_t>(kMaxFeedHashes);
  ASSERT_EQ(kLimit, 4'000'000u);
  FeedSet set;
  EXPECT_TRUE(set.add(keyRange(0, kLimit / 2)));
  EXPECT_TRUE(set.add(keyRange(kLimit / 4, kLimit)));
  EXPECT_EQ(set.size(), kLimit);
  EXPECT_TRUE(set.add(keyRange(0, 10)));  // nothing new
  EXPECT_FALSE(set.add(keyRange(kLimit, kLimit + 1)));
}

TEST(FeedSet, StopsVisitingWhenTold) {
  FeedSet set;
  set.add(keyRange(0, 10));
  int visited = 0;
  EXPECT_FALSE(set.inOrder([&visited](const FeedKey&) { return ++visited < 4; }));
  EXPECT_EQ(visited, 4);
}

// --- the written text ---

TEST(LiveVersion, IsTheUtcDateInEightDigits) {
  EXPECT_EQ(liveVersion(0), "live-19700101");
  EXPECT_EQ(liveVersion(1'794'700'800), "live-20261115");
  EXPECT_EQ(liveVersion(1'794'700'800 + 86'399), "live-20261115");
  EXPECT_EQ(liveVersion(1'794'700'800 + 86'400), "live-20261116");
  EXPECT_EQ(liveVersion(951'782'400), "live-20000229");
  EXPECT_EQ(liveVersion(253'402'300'799), "live-99991231");
}

TEST(RenderLiveDatabase, WritesHeaderAndSortedHashesToTheByte) {
  FeedSet set;
  set.add(keysOf(std::string(64, 'b') + "\n" + kUpper));
  set.add(keysOf(std::string(64, 'A')));
  EXPECT_EQ(rendered(set, 1'794'700'801),
            "# KORVEL live signature database (auto-updated, do not edit)\n"
            "KORVELDB/1\n"
            "VERSION live-20261115\n"
            "GENERATED 1794700801\n"
            "SIZE 3\n" +
                kLower + "\n" + std::string(64, 'a') + "\n" + std::string(64, 'b') + "\n");
}

TEST(RenderLiveDatabase, SizeLineEqualsTheHashLinesThatFollow) {
  for (const uint32_t count : {1u, 1007u, 1008u, 1009u, 5000u}) {
    FeedSet set;
    set.add(keyRange(0, count));
    std::string text = rendered(set, 0);
    const size_t header = text.find("SIZE ");
    const size_t body = text.find('\n', header) + 1;
    EXPECT_EQ(text.substr(header, body - header), "SIZE " + std::to_string(count) + "\n");
    EXPECT_EQ(keysOf(text.substr(body)), keyRange(0, count));
    EXPECT_EQ(text.size() - body, size_t{count} * 65);
  }
}

TEST(RenderLiveDatabase, ComesInPiecesAndStopsAtTheFirstFailedWrite) {
  FeedSet set;
  set.add(keyRange(0, 10'000));
  for (int failing = 1; failing <= 3; ++failing) {
    int calls = 0;
    EXPECT_FALSE(renderLiveDatabase(set, 0, [&](std::string_view piece) {
      EXPECT_LE(piece.size(), 66'000u);
      return ++calls != failing;
    }));
    EXPECT_EQ(calls, failing);
  }
}

}  // namespace
}  // namespace korvel

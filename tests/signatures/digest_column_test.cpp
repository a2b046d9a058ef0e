#include "signatures/digest_column.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "signatures/record_numbers.h"
#include "signatures/signature_records.h"

namespace korvel {
namespace {

using Column = DigestColumn<hash::kMd5Bytes>;

/// Keys that share their leading bits, so that many fall into one bucket, or spread evenly.
Column::Key makeKey(uint32_t value, bool spread) {
  Column::Key key{};
  if (spread) {
    const uint64_t mixed = (value + 1) * 0x9E3779B97F4A7C15u;
    for (size_t at = 0; at < 8; ++at) key[at] = static_cast<uint8_t>(mixed >> (8 * at));
  }
  for (size_t at = 0; at < 4; ++at) key[12 + at] = static_cast<uint8_t>(value >> (24 - 8 * at));
  return key;
}

struct Shape {
  uint32_t count;
  bool spread;
  bool shuffled;
  bool repeated;
};

class DigestColumnShapes : public testing::TestWithParam<Shape> {};

TEST_P(DigestColumnShapes, FindsEveryKeyWithTheRecordThatCameFirstAndNothingElse) {
  const auto [count, spread, shuffled, repeated] = GetParam();
  std::vector<uint32_t> values;
  for (uint32_t value = 0; value < count; ++value) {
    values.push_back(value);
    if (repeated && value % 3 == 0) values.push_back(value);
  }
  const auto byKey = [gap = spread](uint32_t a, uint32_t b) { return makeKey(a, gap) < makeKey(b, gap); };
  std::stable_sort(values.begin(), values.end(), byKey);
  if (shuffled) std::shuffle(values.begin(), values.end(), std::mt19937(7));

  Column column;
  std::map<uint32_t, uint32_t> expected;
  for (uint32_t at = 0; at < values.size(); ++at) {
    column.append(makeKey(values[at], spread), at);
    expected.emplace(values[at], at);
  }
  column.seal();
  ASSERT_EQ(column.size(), count);
  for (const auto& [value, record] : expected)
    ASSERT_EQ(column.find(makeKey(value, spread)), record) << value;
  for (uint32_t value = count; value < 2 * count + 10; ++value) {
    ASSERT_EQ(column.find(makeKey(value, spread)), std::nullopt) << value;
  }
  Column::Key lowest{}, highest;
  highest.fill(0xFF);
  EXPECT_EQ(column.find(highest), std::nullopt);
  EXPECT_EQ(column.find(lowest).has_value(), !spread && count > 0);
}

INSTANTIATE_TEST_SUITE_P(All, DigestColumnShapes,
                         testing::Values(Shape{0, true, false, false}, Shape{1, true, false, false},
                                         Shape{2, false, true, true}, Shape{16, true, true, false},
                                         Shape{17, true, true, true}, Shape{300, false, false, true},
                                         Shape{300, false, true, true}, Shape{5000, true, false, false},
                                         Shape{5000, true, false, true}, Shape{70000, true, true, true},
                                         Shape{70000, false, true, false}));

TEST(DigestColumn, ADigestOfAnotherLengthIsNotListed) {
  Column column;
  column.append(Column::Key{}, 1);
  column.seal();
  const std::array<uint8_t, 32> longer{};
  EXPECT_EQ(column.find(longer), std::nullopt);
  EXPECT_EQ(column.find({}), std::nullopt);
  EXPECT_EQ(column.find(Column::Key{}), 1u);
}

TEST(DigestColumn, GivesBackRoomThatWasReservedInVain) {
  Column column;
  column.reserve(1'000'000);
  column.append(Column::Key{}, 0);
  column.seal();
  EXPECT_LT(column.residentBytes(), 1000u);
}

TEST(DigestColumn, AMergeWithASmallOlderColumnStaysInsideItsReserve) {
  Column newer;
  newer.reserve(100'000);
  for (uint32_t value = 0; value < 99'000; ++value) newer.append(makeKey(2 * value, false), 0);
  newer.seal();
  Column older;
  for (uint32_t value = 0; value < 500; ++value) older.append(makeKey(2 * value + 1, false), 0);
  older.seal();
  const uint64_t before = newer.residentBytes();
  SignatureRecords newerRecords;
  newer.mergeOlder(older, RecordMerge(newerRecords, SignatureRecords()));
  EXPECT_EQ(newer.size(), 99'500u);
  EXPECT_EQ(newer.residentBytes(), before);
}

TEST(RecordNumbers, WidenAtEachLimitAndKeepWhatTheyHold) {
  for (const uint32_t limit : {0xFFu, 0x100u, 0xFFFFu, 0x10000u, 0xFFFFFFFEu}) {
    RecordNumbers numbers;
    numbers.append(3);
    numbers.append(limit);
    numbers.append(4);
    ASSERT_EQ(numbers.size(), 3u);
    EXPECT_EQ(numbers.get(0), 3u);
    EXPECT_EQ(numbers.get(1), limit);
    EXPECT_EQ(numbers.get(2), 4u);
    numbers.set(0, limit);
    EXPECT_EQ(numbers.get(0), limit);
    EXPECT_EQ(numbers.get(2), 4u);
  }
}

TEST(RecordNumbers, TakeOneByteWhileTheyAreSmall) {
  RecordNumbers numbers;
  numbers.reserve(1000);
  for (uint32_t at = 0; at < 1000; ++at) numbers.append(at % 256);
  EXPECT_EQ(numbers.residentBytes(), 1000u);
  numbers.append(256);
  EXPECT_GE(numbers.residentBytes(), 2002u);
  EXPECT_EQ(numbers.get(999), 999 % 256u);
}

TEST(SignatureRecords, TheFirstIsThatOfABareDigest) {
  const SignatureRecords records;
  ASSERT_EQ(records.size(), 1u);
  const SignatureFields bare = records.fields(SignatureRecords::kBareDigest);
  EXPECT_EQ(bare.threatName, "Win.Trojan.Generic");
  EXPECT_EQ(bare.family, "Win.Trojan.Generic");
  EXPECT_EQ(bare.severity, 3);
  EXPECT_EQ(bare.tag, "");
  EXPECT_EQ(bare.reference, "");
}

TEST(SignatureRecords, EqualFieldsShareOneRecordAndAnyDifferenceMakesAnother) {
  SignatureRecords records;
  SignatureInterner interner(records);
  const SignatureFields base{"tag", "name", "family", "reference", 2};
  const uint32_t first = interner.intern(base);
  EXPECT_EQ(interner.intern({"tag", std::string("name"), "family", "reference", 2}), first);
  SignatureFields other = base;
  other.tag = "name";
  EXPECT_NE(interner.intern(other), first);
  other = base;
  other.threatName = "Name";
  EXPECT_NE(interner.intern(other), first);
  other = base;
  other.family = "";
  EXPECT_NE(interner.intern(other), first);
  other = base;
  other.reference = "tag";
  EXPECT_NE(interner.intern(other), first);
  other = base;
  other.severity = 4;
  EXPECT_NE(interner.intern(other), first);
  EXPECT_EQ(records.size(), 7u);
  EXPECT_EQ(interner.intern({"", kGenericThreatName, kGenericThreatName, "", 3}),
            SignatureRecords::kBareDigest);
}

TEST(SignatureRecords, KeepTextsOfEverySizeAndSurviveAMove) {
  SignatureRecords records;
  std::vector<std::string> texts;
  {
    SignatureInterner interner(records);
    for (size_t size = 0; size < 3000; size += 7) {
      texts.emplace_back(size, static_cast<char>('a' + size % 26));
      ASSERT_EQ(interner.intern({"", texts.back(), "family", "", 3}), texts.size());
    }
  }
  const SignatureRecords moved = std::move(records);
  for (uint32_t at = 0; at < texts.size(); ++at) EXPECT_EQ(moved.fields(at + 1).threatName, texts[at]);
}

}  // namespace
}  // namespace korvel

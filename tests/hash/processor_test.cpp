#include "hash/processor.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace korvel::hash {
namespace {

constexpr uint32_t kSsse3 = 1u << 9, kSse41 = 1u << 19;
constexpr uint32_t kAvx2 = 1u << 5, kAvx512F = 1u << 16, kSha = 1u << 29, kAvx512Bw = 1u << 30;
constexpr uint32_t kVbmi2 = 1u << 6;
// Of a processor that has everything.
constexpr ProcessorAnswers kAll = {.leaf1Ecx = kSsse3 | kSse41,
                                   .leaf7Ebx = kAvx2 | kAvx512F | kSha | kAvx512Bw,
                                   .leaf7Ecx = kVbmi2,
                                   .xcr0 = 0xe7};

TEST(ProcessorFeatures, AreAllThereWhereEachFlagIs) {
  const ProcessorFeatures features = featuresOf(kAll);
  EXPECT_TRUE(features.shaNi);
  EXPECT_TRUE(features.avx2);
  EXPECT_TRUE(features.avx512);
  EXPECT_TRUE(features.avx512Compress);
}

TEST(ProcessorFeatures, AreNoneWithoutAnAnswer) {
  const ProcessorFeatures features = featuresOf({});
  EXPECT_FALSE(features.shaNi);
  EXPECT_FALSE(features.avx2);
  EXPECT_FALSE(features.avx512);
  EXPECT_FALSE(features.avx512Compress);
}

TEST(ProcessorFeatures, OfShaNeedAllThreeFlagsAndNothingOfTheSystem) {
  for (const uint32_t missing : {kSsse3, kSse41}) {
    ProcessorAnswers answers = kAll;
    answers.leaf1Ecx &= ~missing;
    EXPECT_FALSE(featuresOf(answers).shaNi) << missing;
    EXPECT_TRUE(featuresOf(answers).avx512) << missing;
  }
  ProcessorAnswers answers = kAll;
  answers.leaf7Ebx &= ~kSha;
  EXPECT_FALSE(featuresOf(answers).shaNi);
  answers = kAll;
  answers.xcr0 = 0;
  EXPECT_TRUE(featuresOf(answers).shaNi);
}

TEST(ProcessorFeatures, OfWideRegistersNeedTheSystemToSaveThem) {
  ProcessorAnswers answers = kAll;
  for (const uint64_t saved : {0x00u, 0x02u, 0x04u}) {
    answers.xcr0 = saved;
    EXPECT_FALSE(featuresOf(answers).avx2) << saved;
  }
  for (const uint64_t saved : {0x06u, 0x26u, 0x66u, 0xa6u, 0xc6u, 0xe0u}) {
    answers.xcr0 = saved;
    EXPECT_EQ(featuresOf(answers).avx2, saved != 0xe0) << saved;
    EXPECT_FALSE(featuresOf(answers).avx512) << saved;
    EXPECT_FALSE(featuresOf(answers).avx512Compress) << saved;
  }
}

TEST(ProcessorFeatures, OfAvx512NeedBothFlagsAndPackingOneMore) {
  for (const uint32_t missing : {kAvx512F, kAvx512Bw}) {
    ProcessorAnswers answers = kAll;
    answers.leaf7Ebx &= ~missing;
    EXPECT_FALSE(featuresOf(answers).avx512) << missing;
    EXPECT_FALSE(featuresOf(answers).avx512Compress) << missing;
    EXPECT_TRUE(featuresOf(answers).avx2) << missing;
  }
  ProcessorAnswers answers = kAll;
  answers.leaf7Ecx = 0;
  EXPECT_TRUE(featuresOf(answers).avx512);
  EXPECT_FALSE(featuresOf(answers).avx512Compress);
  answers = kAll;
  answers.leaf7Ebx &= ~kAvx2;
  EXPECT_FALSE(featuresOf(answers).avx2);
}

}  // namespace
}  // namespace korvel::hash

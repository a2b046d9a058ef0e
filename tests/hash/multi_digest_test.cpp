#include "hash/multi_digest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>
#include <vector>

#include "hash/triple_digest.h"

namespace korvel::hash {
namespace {

FileDigests digestsOneByOne(const std::vector<uint8_t>& bytes) {
  TripleDigest digest;
  digest.update(bytes.data(), bytes.size());
  return digest.digests();
}

std::vector<uint8_t> randomBytes(size_t length, std::mt19937& random) {
  std::vector<uint8_t> bytes(length);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

/// Messages of the given lengths, and what one-by-one digests say of them.
class Batch {
 public:
  Batch(const std::vector<size_t>& lengths, std::mt19937& random) {
    for (const size_t length : lengths) {
      buffers_.push_back(randomBytes(length, random));
      expected_.push_back(digestsOneByOne(buffers_.back()));
      buffers_.back().resize(length + kMessagePaddingBytes);
      messages_.push_back({buffers_.back().data(), length, {}});
    }
  }
  void expectEqual(std::span<const LaneKernel> kernels) {
    digestAll(messages_, kernels);
    for (size_t i = 0; i < messages_.size(); ++i) {
      EXPECT_EQ(messages_[i].digests, expected_[i])
          << "message " << i << " of " << messages_.size() << ", length " << messages_[i].length;
    }
  }

 private:
  std::vector<std::vector<uint8_t>> buffers_;
  std::vector<FileDigests> expected_;
  std::vector<Message> messages_;
};

std::vector<LaneKernel> supportedKernels() {
  std::vector<LaneKernel> supported;
  for (const LaneKernel& kernel : laneKernels()) {
    if (kernel.supported()) supported.push_back(kernel);
  }
  return supported;
}

/// Each kernel that this processor runs, for every number of messages.
class LaneKernels : public testing::TestWithParam<LaneKernel> {
 protected:
  void expectEqual(const std::vector<size_t>& lengths) {
    LaneKernel kernel = GetParam();
    kernel.worthLanes = 1;
    Batch(lengths, random_).expectEqual({&kernel, 1});
  }
  std::mt19937 random_{20};
};

TEST_P(LaneKernels, EveryPairOfLengthsUpToSomeBlocks) {
  // Lengths around every block edge, paired with every length.
  const std::vector<size_t> edges = {0, 1, 54, 55, 56, 63, 64, 65, 119, 120, 128, 183, 184, 256, 300};
  for (size_t length = 0; length <= 300 && !HasFailure(); ++length) {
    for (const size_t other : edges) expectEqual({length, other});
  }
}

TEST_P(LaneKernels, AllLengthsOfTheFirstBlocksInOneCall) {
  std::vector<size_t> lengths(301);
  for (size_t i = 0; i < lengths.size(); ++i) lengths[i] = i;
  expectEqual(lengths);
}

TEST_P(LaneKernels, EqualMessagesFillEveryLaneAndOneMore) {
  for (const size_t count : std::vector<size_t>{1, 2, 3, 7, 8, 9, 15, 16, 17, 32, 33})
    expectEqual(std::vector<size_t>(count, 1000));
}

TEST_P(LaneKernels, UnequalMessagesTakeTurns) {
  std::vector<size_t> lengths;
  for (size_t i = 0; i < 17; ++i) lengths.push_back(i * i * 37);
  expectEqual(lengths);
  std::reverse(lengths.begin(), lengths.end());
  expectEqual(lengths);
}

TEST_P(LaneKernels, RandomBatches) {
  for (int round = 0; round < 60 && !HasFailure(); ++round) {
    std::vector<size_t> lengths(random_() % 70);
    for (size_t& length : lengths) length = random_() % (random_() % 8 == 0 ? 40'000 : 700);
    expectEqual(lengths);
  }
}

TEST_P(LaneKernels, WorkOnTheStackOfAnyThread) {
  // A thread's stack may begin anywhere, and wide registers are spilled to it.
  for (int i = 0; i < 64; ++i) {
    std::thread([&] { expectEqual({64, 65, 130, static_cast<size_t>(i)}); }).join();
  }
}

INSTANTIATE_TEST_SUITE_P(Every, LaneKernels, testing::ValuesIn(supportedKernels()),
                         [](const auto& kernel) { return "Number" + std::to_string(kernel.index); });

TEST(MultiDigest, HandsWhatIsLeftToTheNextKernel) {
  std::mt19937 random(21);
  for (const size_t count : std::vector<size_t>{0, 1, 2, 3, 5, 6, 7, 8, 20, 100}) {
    std::vector<size_t> lengths(count);
    for (size_t& length : lengths) length = random() % 5'000;
    Batch(lengths, random).expectEqual(laneKernels());
  }
}

TEST(MultiDigest, TheLastKernelRunsEverywhereAndAlone) {
  EXPECT_TRUE(laneKernels().back().supported());
  EXPECT_EQ(laneKernels().back().worthLanes, 1u);
}

TEST(MultiDigest, BitCountsBeyondThirtyTwoBitsAreWhole) {
  // 512 MiB are 2^32 bits. The message is never compressed: only its padding is looked at, through a kernel
  // that records it.
  static std::vector<uint8_t> lastBlock;
  const LaneKernel recorder = {"recorder", [] { return true; }, 1, 1,
                               [](LaneStates&, const uint8_t* const* blocks, size_t count, uint32_t last) {
                                 EXPECT_EQ(last, 1u);
                                 const uint8_t* const end = blocks[0] + count * 64;
                                 lastBlock.assign(end - 64, end);
                               }};
  const size_t length = (size_t{1} << 29) + 1;
  std::vector<uint8_t> bytes(length + kMessagePaddingBytes);
  Message message{bytes.data(), length, {}};
  digestAll({&message, 1}, {&recorder, 1});
  std::vector<uint8_t> expected(64);
  expected[1] = 0x80;
  expected[59] = 0x01;  // 2^32 + 8 bits
  expected[63] = 0x08;
  EXPECT_EQ(lastBlock, expected);
}

}  // namespace
}  // namespace korvel::hash

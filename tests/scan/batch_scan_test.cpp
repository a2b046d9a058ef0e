// Batches of made-up files: what a scan does with real ones, but natively, with every kernel of this
// processor, and with files that fail, vanish and grow at any point.
#include "scan/batch_scan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "hash/hex_digest.h"
#include "hash/triple_digest.h"
#include "scan/run_ahead.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

using test::Bytes;

/// A made-up file; `alone` is what a batch does not read.
struct FakeFile {
  Bytes bytes;
  bool alone = false;
};

std::string hexOf(const hash::FileDigests& digests) { return hash::encodeHex(digests.sha256); }

std::string oneByOne(const Bytes& bytes) {
  hash::TripleDigest digest;
  digest.update(bytes.data(), bytes.size());
  return hexOf(digest.digests());
}

/// Files in memory. Each verdict says by its reasons which way it took.
class FakeFiles final : public BatchFiles {
 public:
  explicit FakeFiles(std::vector<FakeFile>& files) : files_(files) {}

  BatchRead read(size_t index, std::span<uint8_t> room, size_t& bytesRead) override {
    if (onRead) onRead(index);
    const FakeFile& file = files_[index];
    if (file.alone || file.bytes.size() > kBatchFileLimitBytes) return BatchRead::kAlone;
    if (file.bytes.size() + hash::kMessagePaddingBytes > room.size()) return BatchRead::kNextBatch;
    std::copy(file.bytes.begin(), file.bytes.end(), room.begin());
    bytesRead = file.bytes.size();
    reads.push_back(index);
    return BatchRead::kRead;
  }
  FileVerdict judge(size_t index, ByteView bytes, const hash::FileDigests* digests) override {
    EXPECT_TRUE(std::equal(files_[index].bytes.begin(), files_[index].bytes.end(), bytes.data(),
                           bytes.data() + bytes.size()))
        << "file " << index << " was overwritten";
    if (onJudge) onJudge(index);
    if (digests != nullptr) ++digestedTogether;
    return verdictOf(index, digests != nullptr ? hexOf(*digests) : oneByOne(files_[index].bytes));
  }
  FileVerdict scanAlone(size_t index) override {
    if (onAlone) onAlone(index);
    alones.push_back(index);
    return verdictOf(index, oneByOne(files_[index].bytes));
  }

  std::vector<size_t> reads, alones;
  size_t digestedTogether = 0;
  std::function<void(size_t)> onRead, onAlone, onJudge;

 private:
  FileVerdict verdictOf(size_t index, std::string sha256) const {
    FileVerdict verdict;
    verdict.path = std::to_wstring(index);
    verdict.size = files_[index].bytes.size();
    verdict.sha256 = std::move(sha256);
    return verdict;
  }

  std::vector<FakeFile>& files_;
};

std::vector<FakeFile> filesOfSizes(const std::vector<size_t>& sizes) {
  std::vector<FakeFile> files;
  for (const size_t size : sizes)
    files.push_back({test::noiseBytes(size, static_cast<uint32_t>(files.size() + 1))});
  return files;
}

/// Empty files, small ones, block edges, some that fill a large part of the arena and some that never enter
/// it.
std::vector<FakeFile> mixedFiles() {
  std::vector<FakeFile> files;
  for (size_t i = 0; i < 150; ++i) {
    const size_t size = i % 13 == 0   ? 0
                        : i % 29 == 0 ? static_cast<size_t>(kBatchFileLimitBytes) - i
                        : i % 37 == 0 ? static_cast<size_t>(kBatchFileLimitBytes) + i
                        : i % 5 == 0  ? 64 * (i % 7) + 55 + i % 3
                                      : i * 211;
    files.push_back({test::noiseBytes(size, static_cast<uint32_t>(i + 1)), /*alone=*/i % 17 == 3});
  }
  return files;
}

class BatchScanTest : public testing::Test {
 protected:
  BatchScan::Arena arena() {
    return [this] { return arena_.data(); };
  }
  BatchScan batchScan(std::span<const hash::LaneKernel> kernels = hash::laneKernels()) {
    return BatchScan(arena(), cancel_.get_token(), stop_.get_token(), kernels);
  }
  size_t scan(std::vector<FakeFile>& files, FakeFiles& fakes) {
    return batchScan().scan(fakes, files.size(), [this](FileVerdict verdict) {
      verdicts_.push_back(std::move(verdict));
      return true;
    });
  }
  /// The verdicts are those of the first files, in their order.
  void expectPrefix(const std::vector<FakeFile>& files, size_t count) const {
    ASSERT_EQ(verdicts_.size(), count);
    for (size_t i = 0; i < count; ++i) {
      EXPECT_EQ(verdicts_[i].path, std::to_wstring(i));
      EXPECT_EQ(verdicts_[i].sha256, oneByOne(files[i].bytes)) << i;
    }
  }

  StopSource cancel_, stop_;
  std::vector<uint8_t> arena_ = std::vector<uint8_t>(kBatchArenaBytes);
  std::vector<FileVerdict> verdicts_;
};

TEST_F(BatchScanTest, VerdictsFallInOrderForEveryKernelAndEveryMixOfSizes) {
  std::vector<FakeFile> files = mixedFiles();
  const auto kernels = hash::laneKernels();
  for (size_t first = 0; first < kernels.size(); ++first) {
    verdicts_.clear();
    FakeFiles fakes(files);
    const size_t delivered =
        batchScan(kernels.subspan(first)).scan(fakes, files.size(), [this](FileVerdict verdict) {
          verdicts_.push_back(std::move(verdict));
          return true;
        });
    EXPECT_EQ(delivered, files.size());
    expectPrefix(files, files.size());
  }
}

TEST_F(BatchScanTest, FilesAreDigestedTogetherWhereAKernelHasLanes) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(40, 1'000));
  FakeFiles fakes(files);
  EXPECT_EQ(scan(files, fakes), files.size());
  const auto kernels = hash::laneKernels();
  const bool lanes = std::any_of(kernels.begin(), kernels.end(),
                                 [](const auto& kernel) { return kernel.lanes > 1 && kernel.supported(); });
  EXPECT_EQ(fakes.digestedTogether != 0, lanes);
  EXPECT_EQ(fakes.alones.size(), lanes ? 0u : files.size());
}

TEST_F(BatchScanTest, WithOneLaneEveryFileGoesTheWayOfASingleOne) {
  std::vector<FakeFile> files = filesOfSizes({10, 20, 30});
  FakeFiles fakes(files);
  const auto oneLane = hash::laneKernels().last(1);
  EXPECT_EQ(batchScan(oneLane).scan(fakes, files.size(), [](const FileVerdict&) { return true; }), 3u);
  EXPECT_EQ(fakes.alones, (std::vector<size_t>{0, 1, 2}));
}

TEST_F(BatchScanTest, AnArenaThatIsFullBeginsAnotherBatch) {
  std::vector<FakeFile> files =
      filesOfSizes(std::vector<size_t>(20, static_cast<size_t>(kBatchFileLimitBytes)));
  FakeFiles fakes(files);
  EXPECT_EQ(scan(files, fakes), files.size());
  expectPrefix(files, files.size());
  if (!fakes.reads.empty()) {
    EXPECT_EQ(fakes.reads.size(), files.size());
    EXPECT_TRUE(fakes.alones.empty());
  }
}

TEST_F(BatchScanTest, AFileByItselfMayTakeTheArena) {
  std::vector<FakeFile> files = filesOfSizes({100, 200, 300, 400, 500, 600});
  for (const size_t alone : {0u, 2u, 4u, 5u}) files[alone].alone = true;
  FakeFiles fakes(files);
  fakes.onAlone = [this](size_t) { std::fill(arena_.begin(), arena_.end(), uint8_t{0xEE}); };
  EXPECT_EQ(scan(files, fakes), files.size());
  expectPrefix(files, files.size());
}

TEST_F(BatchScanTest, ABatchWaitsForItsFilesOnlyForAWhile) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(6, 100));
  FakeFiles fakes(files);
  fakes.onRead = [](size_t) { std::this_thread::sleep_for(2 * kBatchReadTime); };
  // Each file takes longer than a batch may: its verdict falls before the next file is read.
  std::vector<size_t> readBefore;
  batchScan().scan(fakes, files.size(), [&](const FileVerdict&) {
    readBefore.push_back(fakes.reads.size() + fakes.alones.size());
    return true;
  });
  EXPECT_EQ(readBefore, (std::vector<size_t>{1, 2, 3, 4, 5, 6}));
}

TEST_F(BatchScanTest, AfterACancelAtAnyPointNoFileIsReadAndNothingThatWasReadIsLost) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(40, 500));
  for (const size_t at : {0u, 1u, 2u, 17u, 38u, 39u}) {
    StopSource cancel;
    FakeFiles fakes(files);
    fakes.onRead = [&](size_t index) {
      if (index == at) cancel.request_stop();
    };
    fakes.onAlone = fakes.onRead;
    verdicts_.clear();
    BatchScan batch(arena(), cancel.get_token(), stop_.get_token());
    const size_t delivered = batch.scan(fakes, files.size(), [this](FileVerdict verdict) {
      verdicts_.push_back(std::move(verdict));
      return true;
    });
    EXPECT_EQ(delivered, at + 1);
    EXPECT_EQ(fakes.reads.size() + fakes.alones.size(), at + 1);
    expectPrefix(files, at + 1);
  }
}

TEST_F(BatchScanTest, AfterACancelNoFileByItselfIsBegunNorAnythingBehindIt) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(10, 500));
  files[4].alone = true;
  FakeFiles fakes(files);
  const size_t delivered = batchScan().scan(fakes, files.size(), [this](FileVerdict verdict) {
    verdicts_.push_back(std::move(verdict));
    if (verdicts_.size() == 2) cancel_.request_stop();
    return true;
  });
  const bool lanes = !fakes.reads.empty();
  EXPECT_EQ(delivered, lanes ? 4u : 2u);
  EXPECT_EQ(fakes.alones.size(), lanes ? 0u : 2u);
  expectPrefix(files, delivered);
}

TEST_F(BatchScanTest, AStopAtAnyPointDeliversNothingMore) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(20, 500));
  for (const size_t at : {0u, 1u, 10u, 19u}) {
    StopSource stop;
    FakeFiles fakes(files);
    fakes.onRead = [&](size_t index) {
      if (index == at) stop.request_stop();
    };
    fakes.onAlone = fakes.onRead;
    verdicts_.clear();
    BatchScan batch(arena(), cancel_.get_token(), stop.get_token());
    const size_t delivered = batch.scan(fakes, files.size(), [this](FileVerdict verdict) {
      verdicts_.push_back(std::move(verdict));
      return true;
    });
    EXPECT_EQ(fakes.reads.size() + fakes.alones.size(), at + 1) << "reading went on";
    EXPECT_EQ(delivered, fakes.reads.empty() ? at : 0u);
    expectPrefix(files, delivered);
  }
}

TEST_F(BatchScanTest, AStopDuringTheDeliveryEndsItThere) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(20, 500));
  FakeFiles fakes(files);
  EXPECT_EQ(batchScan().scan(fakes, files.size(),
                             [this](FileVerdict verdict) {
                               verdicts_.push_back(std::move(verdict));
                               if (verdicts_.size() == 7) stop_.request_stop();
                               return true;
                             }),
            7u);
  expectPrefix(files, 7);
}

TEST_F(BatchScanTest, ADeliveryThatWantsNoMoreEndsTheScanAtEveryFile) {
  std::vector<FakeFile> files = filesOfSizes({10, 20, 30, 40, 50});
  for (size_t last = 1; last <= files.size(); ++last) {
    verdicts_.clear();
    FakeFiles fakes(files);
    EXPECT_EQ(batchScan().scan(fakes, files.size(),
                               [&](FileVerdict verdict) {
                                 verdicts_.push_back(std::move(verdict));
                                 return verdicts_.size() < last;
                               }),
              last);
    expectPrefix(files, last);
  }
}

TEST_F(BatchScanTest, OfNoFilesNothingIsDelivered) {
  std::vector<FakeFile> none;
  FakeFiles fakes(none);
  EXPECT_EQ(scan(none, fakes), 0u);
}

TEST_F(BatchScanTest, AFailureComesAfterTheVerdictsBeforeIt) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(10, 500));
  files[6].alone = true;
  FakeFiles fakes(files);
  fakes.onAlone = [](size_t index) {
    if (index == 6) throw std::runtime_error("cannot scan");
  };
  EXPECT_THROW(scan(files, fakes), std::runtime_error);
  expectPrefix(files, 6);
}

TEST_F(BatchScanTest, AFailureBehindAFileByItselfComesInItsTurnToo) {
  std::vector<FakeFile> files = filesOfSizes(std::vector<size_t>(10, 500));
  files[3].alone = true;
  FakeFiles fakes(files);
  fakes.onJudge = fakes.onAlone = [](size_t index) {
    if (index == 6) throw std::runtime_error("cannot scan");
  };
  EXPECT_THROW(scan(files, fakes), std::runtime_error);
  expectPrefix(files, 6);
}

/// The whole way of a scan: walk, groups, batches, order.
TEST_F(BatchScanTest, AheadOfTheirTurnBatchesYieldTheSameForEveryNumberOfWorkers) {
  std::vector<FakeFile> files = mixedFiles();
  using Pipeline = OrderedPipeline<size_t, FileVerdict>;
  struct Worker {
    std::vector<uint8_t> arena = std::vector<uint8_t>(kBatchArenaBytes);
    BatchScan batch{[this] { return arena.data(); }, {}, {}};
  };
  for (const size_t workers : {1u, 2u, 4u}) {
    verdicts_.clear();
    Pipeline pipeline(workers, [&files]() -> Pipeline::Work {
      return [&files, worker = std::make_shared<Worker>()](std::span<const size_t> group,
                                                           const Pipeline::Finish& finish) {
        std::vector<FakeFile> own;
        for (const size_t index : group) own.push_back(files[index]);
        const size_t first = group.front();
        FakeFiles fakes(own);
        worker->batch.scan(fakes, own.size(), [&](FileVerdict verdict) {
          verdict.path = std::to_wstring(first + static_cast<size_t>(std::stoul(verdict.path)));
          return finish(std::move(verdict));
        });
      };
    });
    size_t at = 0;
    const auto next = [&](size_t& index, uint64_t& weight) {
      if (at == files.size()) return Supply::kEnd;
      index = at++;
      weight = files[index].bytes.size();
      return Supply::kItem;
    };
    runAhead(pipeline, next, [this](const FileVerdict& verdict) {
      verdicts_.push_back(verdict);
      return true;
    });
    expectPrefix(files, files.size());
  }
}

}  // namespace
}  // namespace korvel

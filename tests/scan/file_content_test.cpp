#include "scan/file_content.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "base/sizes.h"
#include "hash/triple_digest.h"
#include "support/pe_builder.h"

namespace korvel {
namespace {

using test::Bytes;

constexpr size_t kNever = std::numeric_limits<size_t>::max();

/// A file in memory with one byte that cannot be read: a read that would touch it fails as a whole.
class DamagedFile final : public FileBytes {
 public:
  DamagedFile(const Bytes& bytes, size_t damagedAt) : bytes_(bytes), damagedAt_(damagedAt) {}

  std::optional<size_t> read(uint8_t* to, size_t bytes) override {
    const size_t got = std::min(bytes, bytes_.size() - at_);
    if (damagedAt_ >= at_ && damagedAt_ < at_ + got) return std::nullopt;
    std::copy_n(bytes_.begin() + static_cast<ptrdiff_t>(at_), got, to);
    at_ += got;
    return got;
  }
  void rewind() override {
    at_ = 0;
    ++rewinds_;
  }
  int rewinds() const { return rewinds_; }

 private:
  const Bytes& bytes_;
  const size_t damagedAt_;
  size_t at_ = 0;
  int rewinds_ = 0;
};

hash::FileDigests digestsOf(const Bytes& bytes, size_t length) {
  hash::TripleDigest digest;
  digest.update(bytes.data(), length);
  return digest.digests();
}

Bytes imageOf(size_t size) {
  Bytes image = test::PeBuilder().section({"UPX0", test::kPeRwx, {}, 0x4000}).build();
  image.resize(size, 0x5A);
  return image;
}

bool isEmpty(const PeAnalysis& pe) {
  return !pe.info.isPe && pe.info.entropy == 0.0 && pe.info.sections.empty() && pe.packer.empty() &&
         pe.findings.empty();
}

class FileContentTest : public testing::Test {
 protected:
  FileContent contentOf(const Bytes& bytes, size_t damagedAt, uint64_t readChunk = 1 * kMiB) {
    DamagedFile file(bytes, damagedAt);
    ScanContext context;
    context.readChunk = readChunk;
    FileContent content = readContent(file, bytes.size(), context, scratch_);
    EXPECT_EQ(file.rewinds(), damagedAt == kNever ? 0 : 1);
    return content;
  }

  /// The digests end before the piece with the damage, wherever that is, and there is no PE analysis.
  void expectReadUpTo(const Bytes& bytes, size_t damagedAt, uint64_t readChunk) {
    const FileContent content = contentOf(bytes, damagedAt, readChunk);
    const size_t readable = damagedAt / readChunk * readChunk;
    EXPECT_EQ(content.digests, digestsOf(bytes, readable)) << damagedAt << " by " << readChunk;
    EXPECT_TRUE(isEmpty(content.pe)) << damagedAt << " by " << readChunk;
  }

  ScanScratch scratch_;
};

TEST_F(FileContentTest, AFileThatCanBeReadIsReadOnce) {
  for (const size_t size :
       std::initializer_list<size_t>{1 * kMiB + 1, 8 * kMiB, 8 * kMiB + 1, 9 * kMiB + 12'345}) {
    for (const Bytes& bytes : {Bytes(size, 'x'), imageOf(size)}) {
      const FileContent content = contentOf(bytes, kNever);
      EXPECT_EQ(content.digests, digestsOf(bytes, size));
      EXPECT_EQ(content.pe.info.isPe, bytes[0] == 'M');
    }
  }
}

TEST_F(FileContentTest, OfAFileUpTo8MiBTheDigestsEndBeforeThePieceThatFails) {
  for (const Bytes& bytes : {Bytes(3 * kMiB + 5, 'x'), imageOf(3 * kMiB + 5), imageOf(8 * kMiB)}) {
    for (const size_t damagedAt :
         std::initializer_list<size_t>{0, 1 * kMiB - 1, 1 * kMiB, 2 * kMiB + 77, bytes.size() - 1}) {
      expectReadUpTo(bytes, damagedAt, 1 * kMiB);
    }
  }
}

TEST_F(FileContentTest, OfALargerFileTheDigestsEndBeforeThePieceThatFails) {
  for (const Bytes& bytes : {Bytes(9 * kMiB + 5, 'x'), imageOf(9 * kMiB + 5)}) {
    for (const size_t damagedAt :
         std::initializer_list<size_t>{0, 300 * kKiB, 1 * kMiB, 8 * kMiB + 77, bytes.size() - 1}) {
      expectReadUpTo(bytes, damagedAt, 1 * kMiB);
    }
  }
}

TEST_F(FileContentTest, APieceIsExactlyOfTheReadChunk) {
  const Bytes small = imageOf(3 * kMiB);
  const Bytes large = imageOf(9 * kMiB);
  for (const uint64_t readChunk : std::initializer_list<uint64_t>{1'000, 64 * kKiB, 100'000, 5 * kMiB}) {
    expectReadUpTo(small, 2 * kMiB + 77, readChunk);
    expectReadUpTo(large, 8 * kMiB + 77, readChunk);
  }
}

TEST_F(FileContentTest, DamageBehindWhatThePeAnalysisLooksAtDoesNotTouchIt) {
  const Bytes image = imageOf(66 * kMiB);
  expectReadUpTo(image, 64 * kMiB - 1, 1 * kMiB);
  const FileContent content = contentOf(image, 65 * kMiB + 1);
  EXPECT_EQ(content.digests, digestsOf(image, 65 * kMiB));
  EXPECT_TRUE(content.pe.info.isPe);
  EXPECT_EQ(content.pe.packer, "UPX");
}

TEST_F(FileContentTest, AnAbandonedFileIsNotReadAgain) {
  const Bytes bytes(3 * kMiB, 'x');
  DamagedFile file(bytes, 2 * kMiB);
  StopSource abandon;
  abandon.request_stop();
  ScanContext context;
  context.readChunk = 1 * kMiB;
  context.abandoned = abandon.get_token();
  EXPECT_EQ(readContent(file, bytes.size(), context, scratch_).digests, digestsOf(bytes, 0));
}

TEST_F(FileContentTest, AFileThatHasBecomeEmptyHasTheDigestsOfNothing) {
  const Bytes empty;
  DamagedFile file(empty, kNever);
  ScanContext context;
  context.readChunk = 1 * kMiB;
  const FileContent content = readContent(file, /*size=*/1'000, context, scratch_);
  EXPECT_EQ(content.digests, digestsOf(empty, 0));
  EXPECT_TRUE(isEmpty(content.pe));
}

/// The noise is as long as it takes to move the entropy, which counts every byte that is looked at.
TEST_F(FileContentTest, ThePeAnalysisLooksAtTheFirst64MiBAndAtNothingBehind) {
  constexpr size_t kLimit = 64 * kMiB;
  const Bytes noise = test::noiseBytes(1 * kMiB, 1);
  const double atLimit = contentOf(imageOf(kLimit), kNever).pe.info.entropy;

  Bytes before = imageOf(kLimit);
  std::copy(noise.begin(), noise.end(), before.end() - static_cast<ptrdiff_t>(noise.size()));
  EXPECT_GT(contentOf(before, kNever).pe.info.entropy, atLimit + 0.01);

  Bytes behind = imageOf(kLimit);
  behind.insert(behind.end(), noise.begin(), noise.end());
  const FileContent content = contentOf(behind, kNever);
  EXPECT_EQ(content.pe.info.entropy, atLimit);
  EXPECT_EQ(content.pe.info.overlaySize,
            contentOf(imageOf(kLimit + noise.size()), kNever).pe.info.overlaySize);
  EXPECT_EQ(content.digests, digestsOf(behind, behind.size()));
}

}  // namespace
}  // namespace korvel

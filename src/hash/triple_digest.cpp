#include "hash/triple_digest.h"

#include <algorithm>
#include <array>

#include "base/sizes.h"
#include "hash/byte_histogram.h"
#include "hash/md5.h"
#include "hash/sha1.h"
#include "hash/sha256.h"

namespace korvel::hash {
namespace {

// Below this size, clearing and adding up the tables costs more time than the combined pass saves.
constexpr size_t kWorthTablesBytes = 2 * kKiB;

const TripleKernel& tripleKernel() {
  static const TripleKernel& kernel = fastestSupported(tripleKernels());
  return kernel;
}

template <typename Algorithm, size_t kWords>
auto finished(const uint32_t (&state)[kWords], const PaddedTail& tail) {
  std::array<uint32_t, kWords> words;
  std::copy_n(state, kWords, words.begin());
  Algorithm::compress(words.data(), tail.bytes.data(), tail.blocks);
  return digestBytes(words, Algorithm::kByteOrder);
}

}  // namespace

void TripleDigest::reset() {
  std::copy_n(Md5Algorithm::kInitialState.begin(), 4, state_.md5);
  std::copy_n(Sha1Algorithm::kInitialState.begin(), 5, state_.sha1);
  std::copy_n(Sha256Algorithm::kInitialState.begin(), 8, state_.sha256);
  stream_ = BlockStream();
}

void TripleDigest::update(const uint8_t* data, size_t length) {
  stream_.update(data, length, [this](const uint8_t* blocks, size_t count) {
    tripleKernel().compress(state_, blocks, count);
  });
}

void TripleDigest::updateAndCount(const uint8_t* data, size_t length, ByteCounts& counts) {
  // Only blocks that lie whole inside the piece can be counted while they are digested.
  const size_t head = std::min(length, stream_.bytesToBoundary());
  update(data, head);
  countBytes(data, head, counts);
  data += head;
  length -= head;

  while (length >= kWorthTablesBytes) {
    const size_t piece = std::min(length / kBlockBytes * kBlockBytes, ByteTables::kMaxBytes);
    ByteTables tables;
    stream_.update(data, piece, [&](const uint8_t* blocks, size_t count) {
      tripleKernel().compressAndCount(state_, blocks, count, tables);
    });
    tables.addTo(counts);
    data += piece;
    length -= piece;
  }
  update(data, length);
  countBytes(data, length, counts);
}

FileDigests TripleDigest::digests() const {
  const PaddedTail bigEndian = stream_.paddedTail(std::endian::big);
  return {finished<Md5Algorithm>(state_.md5, stream_.paddedTail(std::endian::little)),
          finished<Sha1Algorithm>(state_.sha1, bigEndian),
          finished<Sha256Algorithm>(state_.sha256, bigEndian)};
}

}  // namespace korvel::hash

#include "hash/kernels.h"

#include <algorithm>

#include "hash/block_stream.h"
#include "hash/md5.h"
#include "hash/processor.h"

namespace korvel::hash {
namespace {

bool always() { return true; }

constexpr CountKernel kCountKernels[] = {
    {"avx-512", avx512_compress::supported, avx512_compress::countBytes},
    {"portable", always, portable::countBytes},
};
constexpr DigestKernel kSha1Kernels[] = {
    {"sha-ni", sha_ni::supported, sha_ni::sha1},
    {"portable", always, portable::sha1},
};
constexpr DigestKernel kSha256Kernels[] = {
    {"sha-ni", sha_ni::supported, sha_ni::sha256},
    {"portable", always, portable::sha256},
};
constexpr TripleKernel kTripleKernels[] = {
    {"sha-ni", sha_ni::supported, sha_ni::triple, sha_ni::tripleAndCount},
    {"portable", always, portable::triple, portable::tripleAndCount},
};

// Four KiB at a time, so that the second and third digest find the blocks in the L1 cache.
constexpr size_t kPieceBlocks = 64;

}  // namespace

std::span<const CountKernel> countKernels() { return kCountKernels; }
std::span<const DigestKernel> sha1Kernels() { return kSha1Kernels; }
std::span<const DigestKernel> sha256Kernels() { return kSha256Kernels; }
std::span<const TripleKernel> tripleKernels() { return kTripleKernels; }

void portable::countBytes(ByteTables& tables, const uint8_t* data, size_t length) {
  tables.count(data, length);
}

void portable::triple(TripleState& state, const uint8_t* blocks, size_t count) {
  while (count != 0) {
    const size_t piece = std::min(count, kPieceBlocks);
    Md5Algorithm::compress(state.md5, blocks, piece);
    portable::sha1(state.sha1, blocks, piece);
    portable::sha256(state.sha256, blocks, piece);
    blocks += piece * kBlockBytes;
    count -= piece;
  }
}

void portable::tripleAndCount(TripleState& state, const uint8_t* blocks, size_t count, ByteTables& tables) {
  while (count != 0) {
    const size_t piece = std::min(count, kPieceBlocks);
    portable::triple(state, blocks, piece);
    tables.count(blocks, piece * kBlockBytes);
    blocks += piece * kBlockBytes;
    count -= piece;
  }
}

bool avx512_compress::supported() { return processor().avx512Compress; }
bool sha_ni::supported() { return processor().shaNi; }

}  // namespace korvel::hash

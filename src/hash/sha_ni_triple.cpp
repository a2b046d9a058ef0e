// MD5, SHA-1 and SHA-256 over the same block at once. Compiled with its own flags, so nothing here may be
// called unless sha_ni::supported() returns true.
//
// MD5 is one long chain of dependent integer operations that leaves most of the processor idle. The SHA
// instructions and the counting of bytes run on other units, so both are nearly free between MD5 steps. The
// interleaving has to be this fine because the processor looks ahead by only part of a block.
#include <utility>

#include "hash/block_stream.h"
#include "hash/kernels.h"
#include "hash/md5_steps.h"
#include "hash/sha_ni_steps.h"

namespace korvel::hash::sha_ni {
namespace {

struct Woven {
  Md5Words md5;
  Sha1Vectors sha1;
  Sha256Vectors sha256;
};

template <bool kCount, int kByte>
[[gnu::always_inline]] inline void countByte(const uint8_t* block, ByteTables* tables) {
  if constexpr (kCount) ++tables->counts[kByte % ByteTables::kTables][block[kByte]];
}

/// A sixteenth of the work on a block: 4 of 64 MD5 steps, each with the counting of one byte; 4 of 64 SHA-256
/// rounds; and one of the 20 groups of SHA-1 rounds, or two in every fourth part.
template <int kPart, bool kCount>
[[gnu::always_inline]] inline void part(Woven& woven, const uint8_t* block, ByteTables* tables) {
  constexpr int kStep = 4 * kPart;
  constexpr int kSha1Begin = 20 * kPart / 16;
  constexpr int kSha1End = 20 * (kPart + 1) / 16;
  auto& [a, b, c, d] = woven.md5;
  md5Step<kStep>(a, b, c, d, block);
  countByte<kCount, kStep>(block, tables);
  sha256FourRounds<kPart>(woven.sha256, block);
  md5Step<kStep + 1>(d, a, b, c, block);
  countByte<kCount, kStep + 1>(block, tables);
  md5Step<kStep + 2>(c, d, a, b, block);
  countByte<kCount, kStep + 2>(block, tables);
  sha1FourRounds<kSha1Begin>(woven.sha1, block);
  if constexpr (kSha1End - kSha1Begin == 2) sha1FourRounds<kSha1Begin + 1>(woven.sha1, block);
  md5Step<kStep + 3>(b, c, d, a, block);
  countByte<kCount, kStep + 3>(block, tables);
}

template <bool kCount, int... kParts>
[[gnu::always_inline]] inline void allParts(Woven& woven, const uint8_t* block, ByteTables* tables,
                                            std::integer_sequence<int, kParts...>) {
  (part<kParts, kCount>(woven, block, tables), ...);
}

template <bool kCount>
[[gnu::always_inline]] inline void compressBlocks(TripleState& state, const uint8_t* blocks, size_t count,
                                                  ByteTables* tables) {
  Woven woven;
  woven.md5 = {state.md5[0], state.md5[1], state.md5[2], state.md5[3]};
  woven.sha1.load(state.sha1);
  woven.sha256.load(state.sha256);
  for (; count != 0; --count, blocks += kBlockBytes) {
    const Md5Words md5 = woven.md5;
    const __m128i abcd = woven.sha1.abcd;
    const __m128i e = woven.sha1.e;
    const __m128i abef = woven.sha256.abef;
    const __m128i cdgh = woven.sha256.cdgh;
    allParts<kCount>(woven, blocks, tables, std::make_integer_sequence<int, 16>{});
    woven.md5.a += md5.a;
    woven.md5.b += md5.b;
    woven.md5.c += md5.c;
    woven.md5.d += md5.d;
    woven.sha1.add(abcd, e);
    woven.sha256.add(abef, cdgh);
  }
  state.md5[0] = woven.md5.a;
  state.md5[1] = woven.md5.b;
  state.md5[2] = woven.md5.c;
  state.md5[3] = woven.md5.d;
  woven.sha1.store(state.sha1);
  woven.sha256.store(state.sha256);
}

}  // namespace

void triple(TripleState& state, const uint8_t* blocks, size_t count) {
  compressBlocks<false>(state, blocks, count, nullptr);
}

void tripleAndCount(TripleState& state, const uint8_t* blocks, size_t count, ByteTables& tables) {
  compressBlocks<true>(state, blocks, count, &tables);
}

}  // namespace korvel::hash::sha_ni

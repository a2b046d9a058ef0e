// MD5, SHA-1 and SHA-256 over the same block at once, shared by the kernels for one message and for two.
// Always inlined, and included only by files compiled for SHA, SSSE3 and SSE4.1.
//
// MD5 is one long chain of dependent integer operations that leaves most of the processor idle. The SHA
// instructions and the counting of bytes run on other units, so both are nearly free between MD5 steps. The
// interleaving has to be this fine because the processor looks ahead by only part of a block.
#pragma once

#include "hash/byte_tables.h"
#include "hash/kernels.h"
#include "hash/md5_steps.h"
#include "hash/sha_ni_steps.h"

namespace korvel::hash {

struct Woven {
  Md5Words md5;
  Sha1Vectors sha1;
  Sha256Vectors sha256;

  [[gnu::always_inline]] void load(const TripleState& state) {
    md5 = {state.md5[0], state.md5[1], state.md5[2], state.md5[3]};
    sha1.load(state.sha1);
    sha256.load(state.sha256);
  }
  [[gnu::always_inline]] void store(TripleState& state) const {
    state.md5[0] = md5.a;
    state.md5[1] = md5.b;
    state.md5[2] = md5.c;
    state.md5[3] = md5.d;
    sha1.store(state.sha1);
    sha256.store(state.sha256);
  }
};

/// The state that a block begins with, which is added to the one it ends with.
struct WovenBefore {
  [[gnu::always_inline]] explicit WovenBefore(const Woven& woven)
      : md5(woven.md5),
        abcd(woven.sha1.abcd),
        e(woven.sha1.e),
        abef(woven.sha256.abef),
        cdgh(woven.sha256.cdgh) {}
  [[gnu::always_inline]] void addTo(Woven& woven) const {
    woven.md5.a += md5.a;
    woven.md5.b += md5.b;
    woven.md5.c += md5.c;
    woven.md5.d += md5.d;
    woven.sha1.add(abcd, e);
    woven.sha256.add(abef, cdgh);
  }

  Md5Words md5;
  __m128i abcd, e, abef, cdgh;
};

template <bool kCount, int kByte>
[[gnu::always_inline]] inline void countByte(const uint8_t* block, ByteTables* tables) {
  if constexpr (kCount) ++tables->counts[kByte % ByteTables::kTables][block[kByte]];
}

/// A sixteenth of the work on a block: 4 of 64 MD5 steps, each with the counting of one byte; 4 of 64 SHA-256
/// rounds; and one of the 20 groups of SHA-1 rounds, or two in every fourth part. `md5Block` is the block as
/// MD5 sees it.
template <int kPart, bool kCount>
[[gnu::always_inline]] inline void wovenPart(Woven& woven, const uint8_t* block, const uint8_t* md5Block,
                                             ByteTables* tables) {
  constexpr int kStep = 4 * kPart;
  constexpr int kSha1Begin = 20 * kPart / 16;
  constexpr int kSha1End = 20 * (kPart + 1) / 16;
  auto& [a, b, c, d] = woven.md5;
  md5Step<kStep>(a, b, c, d, md5Block);
  countByte<kCount, kStep>(block, tables);
  sha256FourRounds<kPart>(woven.sha256, block);
  md5Step<kStep + 1>(d, a, b, c, md5Block);
  countByte<kCount, kStep + 1>(block, tables);
  md5Step<kStep + 2>(c, d, a, b, md5Block);
  countByte<kCount, kStep + 2>(block, tables);
  sha1FourRounds<kSha1Begin>(woven.sha1, block);
  if constexpr (kSha1End - kSha1Begin == 2) sha1FourRounds<kSha1Begin + 1>(woven.sha1, block);
  md5Step<kStep + 3>(b, c, d, a, md5Block);
  countByte<kCount, kStep + 3>(block, tables);
}

}  // namespace korvel::hash
